# shellcheck shell=bash
# What the tests that are scripts share; sourced first, from the top of the repository. Makes $folder, removed at the
# end, and reports where in the script a test failed.
set -Eeuo pipefail

folder=$(mktemp -d "${TMPDIR:-/tmp}/kelo.XXXXXX")
trap 'rm -rf "$folder"' EXIT
# What failure prints of the files that a script keeps.
shown=("$folder/out" "$folder/err" "$folder/calls")

# report_line TEXT...: prints it with the line of the script, not of a function in it.
script=${0#"$PWD"/}
report_line() { printf '%s:%d: %s\n' "$script" "${BASH_LINENO[${#BASH_LINENO[@]} - 2]}" "$*"; }

# failure TEXT...: ends the test.
failure() {
  trap - ERR
  report_line "$@"
  cat "${shown[@]}" 2>/dev/null
  exit 1
}

# A command that fails where nothing expects it.
trap 'report_line "failed: $BASH_COMMAND" >&2' ERR
