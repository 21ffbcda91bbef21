#!/usr/bin/env bash
# Compiles sources against the standard library that a Mac has, which lacks some of what the one here has.
#
# usage: libcxx.sh COMPILER FLAG... -- SOURCE...
# Run from the top of the repository.
set -euo pipefail

compiler=$1
shift
flags=()
while [ "$1" != -- ]; do flags+=("$1"); shift; done
shift
[ $# -gt 0 ]

printf '%s\0' "$@" | xargs -0 -P "$(getconf _NPROCESSORS_ONLN)" -n 4 \
  "$compiler" -std=c++20 -stdlib=libc++ -fsyntax-only -I. "${flags[@]}"
printf '%d sources compiled\n' $#
