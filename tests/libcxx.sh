#!/usr/bin/env bash
# Compiles sources against the standard library that a Mac has, which lacks some of what the one here has.
#
# usage: libcxx.sh FOLDER COMPILER FLAG... -- SOURCE...: the folder that remembers what has been compiled
# Run from the top of the repository.
set -euo pipefail

folder=$1 compiler=$2
shift 2
exec tests/walls/compile_each.sh "$folder" "$compiler" -std=c++20 -stdlib=libc++ -I. '{}' "$@"
