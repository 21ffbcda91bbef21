#!/usr/bin/env bash
# Checks that each file compiles, and checks it again only if the command, the file or one of its includes has changed.
#
# usage: compile_each.sh FOLDER COMMAND... -- FILE...: FOLDER records the compiled files. COMMAND compiles a file, whose
# name replaces {}.
# Run from the top of the repository.
# shellcheck disable=SC2016 # ninja expands the variables
set -euo pipefail

folder=$1
shift
command=''
while [ "$1" != -- ]; do
  if [ "$1" = '{}' ]; then command+=' $in'; else command+=" $(printf '%q' "$1")"; fi
  shift
done
shift
[ $# -gt 0 ] || { printf 'no files to compile\n'; exit 1; }

mkdir -p "$folder"
{
  printf 'builddir = %s\nrule compile\n  depfile = $out.d\n  deps = gcc\n' "$folder"
  printf '  command =%s -fsyntax-only -MD -MF $out.d -MT $out && touch $out\n' "$command"
  for file in "$@"; do printf 'build %s/%s.compiled: compile %s\n' "$folder" "$file" "$file"; done
} >"$folder/build.ninja"

log=$folder/log
ninja -f "$folder/build.ninja" -j "$(getconf _NPROCESSORS_ONLN)" -k 0 >"$log" || { grep -v '^\[' "$log"; exit 1; }
printf '%d files compiled\n' $#
