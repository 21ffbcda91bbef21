# shellcheck shell=bash
# Shared code of test scripts, which source it first, from the top of the repository. Creates $folder, which is removed
# at the end, and reports the line at which a test failed.
set -Eeuo pipefail

folder=$(mktemp -d "${TMPDIR:-/tmp}/kelo.XXXXXX")
trap 'rm -rf "$folder"' EXIT
# The files whose content `failure` prints.
shown=("$folder/out" "$folder/err" "$folder/calls")

# report_line TEXT...: prints the text with the script's name and line number; in a function, with the line of its call.
script=${0#"$PWD"/}
report_line() { printf '%s:%d: %s\n' "$script" "${BASH_LINENO[${#BASH_LINENO[@]} - 2]}" "$*"; }

# failure TEXT...: ends the test.
failure() {
  trap - ERR
  report_line "$@"
  cat "${shown[@]}" 2>/dev/null
  exit 1
}

# Reports an unexpected failure of a command.
trap 'report_line "failed: $BASH_COMMAND" >&2' ERR
