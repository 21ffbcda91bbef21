#!/usr/bin/env bash
# Fails if any line of the macOS sources is not covered by their tests.
#
# usage: coverage.sh COMPILER FOLDER TEST: the folder of the sources, and the instrumented test program. Its profile is
# in TEST.profraw.
set -euo pipefail

compiler=$1 folder=$2 test=$3

# Only tools of the compiler's version can read its profiles.
tools=$(dirname "$(readlink -f "$(command -v "$compiler")")")
tool() {
  local name=$1
  shift
  if [ -x "$tools/$name" ]; then "$tools/$name" "$@"; else "$name" "$@"; fi
}

profile=$(mktemp "${TMPDIR:-/tmp}/kelo.XXXXXX")
trap 'rm -f "$profile"' EXIT
[ "$test.profraw" -nt "$test" ] || { printf '%s has not run since it was built\n' "$test"; exit 1; }
tool llvm-profdata merge -sparse -o "$profile" "$test.profraw"

report() { tool llvm-cov "$1" "$test" -instr-profile="$profile" "${@:2}" "$folder"; }
read -r lines missed < <(report report | awk '$1 == "TOTAL" { print $8, $9 }')
if [ "${lines:-0}" -eq 0 ] || [ "$missed" -ne 0 ]; then
  printf '%s of %s lines are not covered:\n' "${missed:-0}" "${lines:-0}"
  # Prints source lines whose count is 0. Template instantiations repeat lines below a separator.
  report show -show-line-counts-or-regions | awk '/^\// { file = $1 } /^ +[0-9]+\| +0\|/ { print file $0 }'
  exit 1
fi
printf 'all %s lines are covered\n' "$lines"
