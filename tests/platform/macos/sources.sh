#!/usr/bin/env bash
# Fails when a source file in platform/macos/ is in no target, or was not compiled.
#
# usage: sources.sh FOLDER OBJECT...: the folder of the sources, and the object files of the targets made of it
set -euo pipefail

folder=$1
shift

compiled=$(for object in "$@"; do
  [ -f "$object" ] || { printf 'not compiled: %s\n' "$object" >&2; exit 1; }
  basename "$object" .o
done)

missing=0
while IFS= read -r source; do
  grep -qxF -- "$(basename "$source")" <<<"$compiled" && continue
  printf 'in no target: %s\n' "$source"
  missing=1
done < <(find "$folder" -name '*.cpp' -o -name '*.mm')
[ $missing -eq 0 ]

[ $# -gt 0 ] || { printf 'there are no macOS sources\n'; exit 1; }
printf '%d macOS sources compiled\n' $#
