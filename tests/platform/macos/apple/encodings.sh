#!/usr/bin/env bash
# Checks the type encodings of the five requests as compiled for one processor (arm64 or x86_64), because XPC compares
# them.
#
# usage: encodings.sh COMPILER arm64|x86_64
# Run from the top of the repository.
set -euo pipefail

compiler=$1 processor=$2

case $processor in
  arm64) bool=B ;;
  x86_64) bool=c ;;
  *) printf 'unknown processor %s\n' "$processor" >&2; exit 2 ;;
esac

declarations=(-nostdlibinc -isystem tests/platform/macos/include -isystem tests/platform/macos/sdk/include)
emitted=$("$compiler" -target "$processor-apple-macos14" -fno-objc-arc -fblocks -std=c++20 -I. "${declarations[@]}" \
  -S -emit-llvm -o - tests/platform/macos/apple/Encodings.mm \
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
