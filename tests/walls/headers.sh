#!/usr/bin/env bash
# Compiles every header alone, so that none depends on an earlier include.
#
# usage: headers.sh FOLDER COMPILER FLAG...: FOLDER records the compiled headers.
# Run from the top of the repository.
set -euo pipefail

folder=$1 compiler=$2
shift 2

# alone NAME LANGUAGE FLAG... -- HEADER...: includes each header into an empty file, so that warnings apply as usual.
alone() {
  local name=$1 language=$2
  shift 2
  tests/walls/compile_each.sh "$folder/$name" "$compiler" -std=c++20 -I. -include '{}' -x "$language" /dev/null "$@"
}

# Headers that replace system headers are compiled with the files that include them.
headers() { find protocol core helper client platform simulator testing tests fuzz prove -name '*.h' -not -path '*/include/*' | sort; }

# objective HEADER...: prints the headers that import an Objective-C header or use SEL, directly or through an include.
objective() {
  local found more='^#import|\<SEL\>'
  while found=$(grep -lE -- "$more" "$@") && [ "$found" != "${before-}" ]; do
    local before=$found
    more+="|^#include \"(${found//$'\n'/|})\""
  done
  printf '%s\n' "$found"
}

mapfile -t macos < <(headers | grep /macos/)
mapfile -t objective < <(objective "${macos[@]}")
mapfile -t shared < <(printf '%s\n' "${macos[@]}" | grep -vxF -- "$(printf '%s\n' "${objective[@]}")")
mapfile -t portable < <(headers | grep -v /macos/)

alone portable c++ "$@" -- "${portable[@]}"
alone macos c++ "$@" -fblocks -isystem tests/platform/macos/include -- "${shared[@]}"
alone objective objective-c++ "$@" -fblocks -fobjc-runtime=gcc -fobjc-exceptions -isystem tests/platform/macos/include \
  -- "${objective[@]}"
