#!/usr/bin/env bash
# Compiles the macOS sources for a Mac's processor, as far as that goes without its system: every file with all
# warnings; and compares the type encodings of the five requests.
#
# usage: compile.sh FOLDER COMPILER arm64|x86_64 FLAG... -- SOURCE-FOLDER...: the folder that remembers what has been
# compiled, and those of the sources
# Run from the top of the repository. Exits with 77 where the C++ headers at hand cannot be read for that processor; the
# encodings need none.
set -euo pipefail

remembers=$1 compiler=$2 processor=$3
shift 3
flags=()
while [ "$1" != -- ]; do flags+=("$1"); shift; done
shift
here=tests/platform/macos/apple

case $processor in
  arm64) bool=B ;;
  x86_64) bool=c ;;
  *) printf 'unknown processor %s\n' "$processor" >&2; exit 2 ;;
esac

# The compiler leaves its usual folders out for a system that is not there.
folders=()
while IFS= read -r folder; do folders+=(-isystem "$folder"); done < <("$compiler" -E -x c++ -v - </dev/null 2>&1 \
  | sed -n '/^#include <...>/,/^End of search/s/^ //p')
target=(-target "$processor-apple-macos14" -fno-objc-arc -fblocks -std=c++20 -I. -isystem tests/platform/macos/include)
# The C library's headers use a name that means something else to Apple's compilers.
library=(-nostdinc -nostdinc++ -D_GNU_SOURCE -U__nonnull -isystem "$here/include" "${folders[@]}")

# check FOLDER FLAG... -- SOURCE...
check() { tests/walls/compile_each.sh "$remembers/$1" "$compiler" "${target[@]}" "${library[@]}" '{}' "${@:2}"; }

emitted=$("$compiler" "${target[@]}" -nostdlibinc -S -emit-llvm -o - "$here/Encodings.mm" \
  | sed -n 's/.*c"\(.*\)\\00".*/\1/p' | sed 's/\\22/"/g')
expect() {
  if ! grep -qxF -- "$1" <<<"$emitted"; then
    printf 'not emitted for %s: %s\n' "$processor" "$1"
    exit 1
  fi
}
expect 'v24@0:8@?<v@?@"NSData">16'
expect "v36@0:8d16${bool}24@?<v@?@\"NSString\">28"
expect 'v24@0:8@?<v@?@"NSString">16'
expect 'v24@0:8@?<v@?q>16'
expect 'v24@0:8@?<v@?>16'
expect '_TtP12KeloProtocol18KeloHelperProtocol_'
for selector in fetchSnapshotWithReply: holdWithFraction:handsBackOnLidClose:reply: handBackWithReply: \
  helperVersionWithReply: standDownWithReply:; do
  expect "$selector"
done
printf 'the five requests have their encodings for %s\n' "$processor"

if ! check probe -- "$here/Probe.mm" >/dev/null; then
  printf 'the C++ headers at hand cannot be read for %s\n' "$processor"
  exit 77
fi

mapfile -t sources < <(find "$@" -name '*.cpp' -o -name '*.mm' | sort)
check sources "${flags[@]}" -- "${sources[@]}"
