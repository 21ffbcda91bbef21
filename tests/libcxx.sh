#!/usr/bin/env bash
# Compiles sources against the standard library that a Mac has, which lacks some of what the one here has.
#
# usage: libcxx.sh FOLDER COMPILER FLAG... -- SOURCE-FOLDER...: the folder that remembers what has been compiled
# Run from the top of the repository.
set -euo pipefail

remembers=$1 compiler=$2
shift 2
flags=()
while [ "$1" != -- ]; do flags+=("$1"); shift; done
shift
mapfile -t sources < <(find "$@" -name '*.cpp' | sort)
exec tests/walls/compile_each.sh "$remembers" "$compiler" -std=c++20 -stdlib=libc++ -I. '{}' "${flags[@]}" -- "${sources[@]}"
