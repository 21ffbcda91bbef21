#!/usr/bin/env bash
# Fails when a line of the macOS sources is reached by none of their tests.
#
# usage: coverage.sh COMPILER FOLDER TEST...: the folder of the sources, and the programs that test them, which are
# instrumented and have left beside them, as TEST.profraw, what they reached
set -euo pipefail

compiler=$1 folder=$2
shift 2

# The compiler's own version of the tools: others do not read its format.
tools=$(dirname "$(readlink -f "$(command -v "$compiler")")")
tool() {
  local name=$1
  shift
  if [ -x "$tools/$name" ]; then "$tools/$name" "$@"; else "$name" "$@"; fi
}

profile=$(mktemp)
trap 'rm -f "$profile"' EXIT
programs=()
reached=()
for test in "$@"; do
  [ "$test.profraw" -nt "$test" ] || { printf '%s has not run since it was built\n' "$test"; exit 1; }
  programs+=(-object "$test")
  reached+=("$test.profraw")
done
tool llvm-profdata merge -sparse -o "$profile" "${reached[@]}"

report() { tool llvm-cov "$1" "${programs[@]:1:1}" "${programs[@]:2}" -instr-profile="$profile" "${@:2}" "$folder"; }
read -r lines missed < <(report report | awk '$1 == "TOTAL" { print $8, $9 }')
if [ "${lines:-0}" -eq 0 ] || [ "$missed" -ne 0 ]; then
  printf '%s of %s lines are reached by no test:\n' "${missed:-0}" "${lines:-0}"
  # A line of the source that was counted, and never reached; expansions of templates repeat lines after a rule.
  report show -show-line-counts-or-regions | awk '/^\// { file = $1 } /^ +[0-9]+\| +0\|/ { print file $0 }'
  exit 1
fi
printf 'all %s lines are reached\n' "$lines"
