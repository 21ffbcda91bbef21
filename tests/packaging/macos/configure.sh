#!/usr/bin/env bash
# Configures the product as on a Mac and checks its build commands.
#
# usage: configure.sh COMPILER FOLDER: configures in FOLDER.
# Run from the top of the repository.
set -euo pipefail

compiler=$1 folder=$2
rm -rf "$folder"
# configure_with JSON-VERSION
configure_with() {
  cmake -S . -B "$folder" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$PWD/tests/platform/macos/sdk/Toolchain.cmake" \
    -DKELO_COMPILER="$compiler" -DKELO_JSON_VERSION="$1" -DCMAKE_BUILD_TYPE=Release -DKELO_TESTS=OFF -DKELO_SHIP=ON >"$folder.log" 2>&1
}

# This version of the JSON library does not compile with Apple's C++ library.
if configure_with 3.11.2; then printf 'JSON 3.11.2 is accepted for a Mac\n'; exit 1; fi
rm -rf "$folder"
configure_with 3.11.3 || { cat "$folder.log"; exit 1; }

# commands_of FILE: prints the command that creates it.
commands_of() { ninja -C "$folder" -t commands "$1" | tail -n 1; }

expect() {
  local command=$1 text
  shift
  for text in "$@"; do
    case $command in
      *"$text"*) ;;
      *) printf 'not in <%s>: %s\n' "$command" "$text"; exit 1 ;;
    esac
  done
}

hardened=(-fstack-protector-strong -D_LIBCPP_HARDENING_MODE=_LIBCPP_HARDENING_MODE_FAST)
both=('-arch arm64 -arch x86_64' '-mmacosx-version-min=14.0')
object=platform/CMakeFiles/kelo_platform_macos.dir/macos
expect "$(commands_of $object/XPCListener.mm.o)" "${both[@]}" "${hardened[@]}" -fno-objc-arc -std=c++20
expect "$(commands_of $object/IOKitExchange.cpp.o)" "${both[@]}" "${hardened[@]}" -std=c++20
case $(commands_of $object/XPCListener.mm.o) in
  *tests/platform/macos/include*) printf 'the product is compiled against the declarations of the tests\n'; exit 1 ;;
esac

frameworks=('-framework Foundation' '-framework CoreFoundation' '-framework IOKit' '-framework Security')
section='-Xlinker -sectcreate -Xlinker __TEXT -Xlinker __info_plist -Xlinker'
expect "$(commands_of app.kelo.helper)" "${both[@]}" "${frameworks[@]}" "$section" app.kelo.helper-Info.plist
expect "$(commands_of kelo)" "${both[@]}" "${frameworks[@]}" "$section" kelo-Info.plist
for executable in app.kelo.helper kelo; do
  case $(ninja -C "$folder" -t inputs "$executable") in
    *simulat*) printf '%s contains code of the simulator\n' "$executable"; exit 1 ;;
  esac
done
grep -q '<string>app.kelo.Kelo</string>' "$folder/kelo-Info.plist"
grep -q '<string>app.kelo.helper</string>' "$folder/app.kelo.helper-Info.plist"
printf 'the product is configured for both processors\n'
