#!/usr/bin/env bash
# Renders every manual page. Fails on any warning or missing section.
#
# usage: manual-pages.sh FILE...
set -euo pipefail

for page in "$@"; do
  mandoc -T lint -W warning "$page"
  text=$(mandoc -T ascii "$page" | sed $'s/.\b//g') # removes overstrikes
  for section in NAME SYNOPSIS DESCRIPTION 'EXIT STATUS' EXAMPLES 'SEE ALSO'; do
    grep -qx "$section" <<<"$text" || { printf '%s: section %s is missing\n' "$page" "$section"; exit 1; }
  done
  name=$(basename "$page")
  # Checks the name and section, and that referenced pages exist.
  grep -q "^$(tr '[:lower:]' '[:upper:]' <<<"${name%.*}")(${name##*.})" <<<"$text" \
    || { printf '%s: wrong title\n' "$page"; exit 1; }
  while read -r other section; do
    [ "$other" = launchd ] || [ -e "$(dirname "$page")/$other.$section" ] \
      || { printf '%s: the page %s(%s) does not exist\n' "$page" "$other" "$section"; exit 1; }
  done < <(sed -n 's/^\.Xr \([^ ]*\) \([0-9]\).*/\1 \2/p' "$page")
done
printf '%d pages rendered\n' $#
