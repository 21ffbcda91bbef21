#!/usr/bin/env bash
# Fails if docs/protocol.md lacks a selector, type, text or number that the sources define.
#
# Run from the top of the repository.
set -euo pipefail

failed=0 count=0

# every FILE EXPRESSION [FORMAT]: checks that the document contains each match of the sed expression in the file,
# formatted with printf.
every() {
  local found=0 match text
  while IFS= read -r match; do
    # shellcheck disable=SC2059 # the format is a constant of this script
    printf -v text "${3-%s}" "$match"
    found=$((found + 1))
    grep -qF -- "$text" docs/protocol.md || { printf 'not in docs/protocol.md, but in %s: %s\n' "$1" "$text"; failed=1; }
  done < <(sed -nE "$2" "$1")
  [ "$found" -gt 0 ] || { printf 'no match in %s\n' "$1"; failed=1; }
  count=$((count + found))
}

# shellcheck disable=SC2016 # the backticks belong to Markdown
{
  every protocol/KeloHelperProtocol.h 's/.*selector = "(.*)";/\1/p' '`%s`'
  every protocol/FanSnapshot.schema.json 's/^    "([a-zA-Z]+)": \{/\1/p' '`%s`'
  every tests/platform/macos/apple/encodings.sh "s/^expect '(v.*)'\$/\\1/p" '`%s`'
  every protocol/KeloHelper.h 's/.*machServiceName = "(.*)";/\1/p' '| Mach service | `%s`'
  every protocol/SigningIdentity.h 's/.*Identifier = "(.*)";/\1/p' 'identifier "%s"'
}
every core/fan/FanError.cpp 's/^ *(return )?"([^"]{15,})"?.*/\2/p'
every core/fan/FanError.cpp 's/^ *"\)\. ([^"]{15,})".*/\1/p'
every platform/posix/GuardedHelper.cpp 's/^constexpr const char\* .* = "(.*)";/\1/p'
every protocol/KeloHelper.h 's/.*interfaceVersion = (.*);/\1/p' '| interface version | %s |'
every protocol/KeloHelper.h 's/.*orphanGracePeriod = (.*)\.0;/\1/p' 'it ends after %s s'
printf 'docs/protocol.md contains all %d facts\n' "$count"
exit $failed
