#!/usr/bin/env bash
# Fails if a source file belongs to no target or was not compiled.
#
# usage: sources.sh BUILD FOLDER... [-- SOURCE...]: the build folder, the source folders, and the sources that a test
# compiles instead of a target.
# Run from the top of the repository.
set -euo pipefail

build=$1
shift
folders=()
while [ $# -gt 0 ] && [ "$1" != -- ]; do folders+=("$1"); shift; done
elsewhere=$(printf '%s\n' "${@:2}")

# Prints the sources of the build whose object file exists.
compiled=$(awk -F '"' -v top="$PWD/" '
  $2 == "command" { object = $0; sub(/.* -o /, "", object); sub(/ -c .*/, "", object) }
  $2 == "file" { source = $4; if (index(source, top) == 1) print object, substr(source, length(top) + 1) }
  ' "$build/compile_commands.json" | while read -r object source; do
  if [ -f "$build/$object" ]; then printf '%s\n' "$source"; fi
done)

failed=0
for folder in "${folders[@]}"; do
  sources=$(find "$folder" -name '*.cpp' -o -name '*.mm' | sort | grep -vxF -- "$elsewhere" || true)
  while IFS= read -r source; do
    printf '%s: in no target, or not compiled\n' "$source"
    failed=1
  done < <(grep -vxF -- "$compiled" <<<"$sources")
  printf '%s: %d sources compiled\n' "$folder" "$(grep -cxF -- "$compiled" <<<"$sources")" || failed=1
done
exit $failed
