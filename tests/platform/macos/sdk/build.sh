#!/usr/bin/env bash
# Builds everything that a Mac builds, then checks the programs: the product for both processors, and the tests for one,
# because Homebrew's GoogleTest supports only one. Our own declarations and symbol lists replace Apple's SDK.
#
# usage: build.sh FOLDER COMPILER: builds in FOLDER.
# Run from the top of the repository. Exits with 77 if the installed C++ headers need declarations that macOS 14 or our
# SDK lacks.
set -euo pipefail

folder=$1 compiler=$2
here=tests/platform/macos/sdk
tools=$(dirname "$(readlink -f "$(command -v "$compiler")")")
mkdir -p "$folder"

# configure FOLDER ARGUMENT...
configure() {
  mkdir -p "$1"
  cmake -S . -B "$1" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$PWD/$here/Toolchain.cmake" \
    -DKELO_COMPILER="$(command -v "$compiler")" -DKELO_JSON_VERSION=3.11.3 "${@:2}" >"$1/log" 2>&1 \
    || { cat "$1/log"; exit 1; }
}

can_read_headers() {
  "$compiler" --target=arm64-apple-macos14 -isysroot "$folder/sdk" -stdlib=libc++ -std=c++20 -fsyntax-only \
    "$here/Probe.cpp" 2>"$folder/log"
}

# build FOLDER
build() {
  local folder=$1
  if ! cmake --build "$folder" -- -k 0 >"$folder/log" 2>&1; then
    grep -vE '^(\[|ninja: (job|Entering))' "$folder/log"
    exit 1
  fi
  # Warnings do not stop the build of the macOS sources, and a second build would not print them.
  if grep -A 5 'warning:' "$folder/log"; then
    rm -rf "$folder"
    exit 1
  fi
}

# expect NAME EXPECTED FOUND
expect() {
  [ "$2" = "$3" ] && return
  printf '%s: expected <%s>, found <%s>\n' "$1" "$2" "$3"
  exit 1
}

frameworks='CoreFoundation Foundation IOKit Security'
libraries='libSystem.B.dylib libc++.1.dylib libobjc.A.dylib'

# check_program PROGRAM IDENTIFIER: checks the program's processors, libraries, oldest supported system and identifier.
check_program() {
  local program=$folder/$1 processor plist
  expect "$1's processors" 'x86_64 arm64' "$(xargs <<<"$("$tools/llvm-lipo" -archs "$program")")"
  for processor in arm64 x86_64; do
    "$tools/llvm-lipo" -thin "$processor" -output "$program.$processor" "$program"
    expect "$1's libraries" "$frameworks $libraries" "$("$tools/llvm-objdump" --macho --dylibs-used \
      "$program.$processor" | sed -n 's|^\t[^ ]*/\([^/ ]*\) (.*|\1|p' | LC_ALL=C sort | xargs)"
    expect "$1's oldest system" 'minos 14.0' \
      "$("$tools/llvm-otool" -l "$program.$processor" | grep -o 'minos .*')"
    plist=$("$tools/llvm-objdump" --macho --section=__TEXT,__info_plist "$program.$processor")
    expect "$1's identifier" "<string>$2</string>" \
      "$(grep -A 1 '<key>CFBundleIdentifier' <<<"$plist" | grep -o '<string>.*')"
  done
}

configure "$folder" -DKELO_TESTS=OFF -DKELO_SIMULATOR=OFF -DCMAKE_OSX_ARCHITECTURES='arm64;x86_64'
if ! can_read_headers; then
  printf 'skipped, because the installed C++ headers need more:\n'
  grep -m 3 'error:' "$folder/log"
  exit 77
fi
build "$folder"
configure "$folder/tests" -DKELO_TESTS=ON -DKELO_PRECOMPILE=ON -DCMAKE_OSX_ARCHITECTURES=arm64
build "$folder/tests"
check_program app.kelo.helper app.kelo.helper
check_program kelo app.kelo.Kelo
# The helper must not use steady_clock, which on a Mac continues during sleep.
if "$tools/llvm-nm" "$folder/app.kelo.helper.arm64" | grep 'steady_clock'; then
  printf 'the helper uses std::chrono::steady_clock\n'
  exit 1
fi
grep -q 'macos_test.*RUN_SERIAL "ON"' "$folder/tests/tests/platform/macos/CTestTestfile.cmake" \
  || { printf 'on a Mac macos_test, which runs in real time, must not run in parallel with other tests\n'; exit 1; }
printf 'the product is built for both processors, and the tests for one\n'
