#!/usr/bin/env bash
# Compares THIRD_PARTY_NOTICES.md with the libraries whose headers the shipped programs include.
#
# usage: notices.sh [INCLUDE-FOLDER...]: where the libraries' headers are installed.
# Run from the top of the repository.
# shellcheck disable=SC2016 # the backticks belong to Markdown
set -euo pipefail

notices=THIRD_PARTY_NOTICES.md
shipped=(protocol core helper client platform) # simmac and simsign use the same libraries

# Only headers of C++ libraries end in .hpp; system and standard headers do not.
included() {
  find "${shipped[@]}" \( -name '*.h' -o -name '*.cpp' -o -name '*.mm' \) -print0 \
    | xargs -0 sed -nE 's/^[ \t]*#[ \t]*(include|import)[ \t]*(<[^>]*\.hpp>).*/\2/p' | sort -u
}
listed() { sed -nE 's/^\| `(<[^>]*>)` \|.*/\1/p' "$notices" | sort -u; }

[ -n "$(included)" ] || { printf 'no library is included\n'; exit 1; }
difference=$(diff <(listed) <(included)) || {
  printf '%s and the included libraries differ (<: only listed, >: only included):\n%s\n' "$notices" "$difference"
  exit 1
}

# Every copyright holder in the installed headers must be named.
failed=0
for folder in "${@:-/usr/include}"; do
  for library in $(included | sed -E 's|^<([^/]*)/.*|\1|'); do
    [ -d "$folder/$library" ] || continue
    while IFS= read -r holder; do
      grep -qF "$holder" "$notices" && continue
      printf '%s does not name %s, a copyright holder of %s\n' "$notices" "$holder" "$library"
      failed=1
    done < <(grep -rhoE '(SPDX-FileCopyrightText:|// Copyright \(c\)) .*' "$folder/$library" \
      | sed -E 's/^.*(Text:|\(c\)) *//; s/^[0-9 -]*,? *//; s/ *[<,].*//' | sort -u)
  done
done
exit $failed
