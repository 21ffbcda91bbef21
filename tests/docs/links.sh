#!/usr/bin/env bash
# Fails if a link in a document names a missing file or heading, or if the index of the documents lacks a page.
#
# Run from the top of the repository.
set -euo pipefail

failed=0
count=0

# anchors FILE: prints the anchors of the headings, as GitHub derives them.
anchors() {
  awk '/^ *```/ { inside = !inside; next } !inside && /^#+ /' "$1" | sed -E 's/^#+ +//' | tr '[:upper:]' '[:lower:]' \
    | sed -E 's/[^a-z0-9 _-]//g; s/ /-/g'
}

while IFS= read -r document; do
  while IFS= read -r target; do
    count=$((count + 1))
    file=${target%%#*} anchor=''
    case $target in *'#'*) anchor=${target#*#} ;; esac
    if [ -n "$file" ]; then file=$(dirname "$document")/$file; else file=$document; fi
    if [ ! -e "$file" ]; then
      printf '%s: %s does not exist\n' "$document" "$target"
      failed=1
    elif [ -n "$anchor" ] && ! anchors "$file" | grep -xF -- "$anchor" >/dev/null; then
      printf '%s: %s has no such heading\n' "$document" "$target"
      failed=1
    fi
  done < <(awk '/^ *```/ { inside = !inside; next } !inside' "$document" | grep -oE '\]\([^)]+\)' \
    | sed -E 's/^\]\(|\)$//g' | grep -vE '^[a-z]+:' || true)
done < <(find . \( -name '*build*' -o -name .git \) -prune -o -name '*.md' -print | sed 's|^\./||' | sort)

for page in docs/*.md; do
  case $page in docs/README.md) continue ;; esac
  grep -qF "](${page#docs/})" docs/README.md || { printf 'docs/README.md does not list %s\n' "$page"; failed=1; }
done
[ "$count" -gt 0 ] || { printf 'no links found\n'; exit 1; }
printf '%d links resolve\n' "$count"
exit $failed
