#!/usr/bin/env bash
# Type-checks the Swift package in both language modes, against a stub of the XPC classes, which only a Mac has.
#
# usage: typecheck.sh SWIFTC FOLDER: the compiler, and a folder for its output.
# Run from the top of the repository.
set -euo pipefail

swiftc=$1 folder=$2
sources=samples/KeloClient/Sources stub=tests/platform/macos/swift/XPCStub.swift
rm -rf "$folder"
mkdir -p "$folder/plain" "$folder/broken"

# check MODE LIBRARY: fails on errors and warnings. LIBRARY is the folder of the library's sources.
check() {
  local mode=(-swift-version "$1" -warnings-as-errors)
  "$swiftc" -frontend -typecheck "${mode[@]}" -enable-objc-interop -disable-objc-attr-requires-foundation-module \
    -module-name KeloProtocol "$2"/*.swift "$stub" || return 1
  # On systems other than a Mac, Swift cannot emit a module that contains @objc. The sample program does not need the
  # attribute.
  for file in "$2"/*.swift; do sed 's/@objc //' "$file" >"$folder/plain/$(basename "$file")"; done
  "$swiftc" -frontend -emit-module -o "$folder/KeloProtocol.swiftmodule" "${mode[@]}" -module-name KeloProtocol \
    "$folder"/plain/*.swift "$stub" || return 1
  "$swiftc" -frontend -typecheck -I "$folder" "${mode[@]}" -module-name sample "$sources/kelo-sample/main.swift"
}

for mode in 5 6; do
  check $mode "$sources/KeloProtocol" || { printf 'not valid in mode %s\n' $mode; exit 1; }
done

# Mode 6 must reject a reply closure that is not Sendable, because XPC does not run replies on the main actor.
cp "$sources"/KeloProtocol/*.swift "$folder/broken"
sed -i 's/@escaping @Sendable (Failure)/@escaping (Failure)/' "$folder/broken/KeloClient.swift"
if check 6 "$folder/broken" >/dev/null 2>&1; then printf 'a non-Sendable closure was accepted\n'; exit 1; fi
printf 'the Swift package is valid in both modes\n'
