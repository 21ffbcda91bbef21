#!/usr/bin/env bash
# Fails if a build file collects sources by a pattern instead of naming them, because the build would not notice added
# or removed files. Allows CONFIGURE_DEPENDS, which cmake/Compile.cmake uses to link headers.
#
# Run from the top of the repository.
set -euo pipefail

if find . \( -name '*build*' -o -name .git \) -prune -o \( -name CMakeLists.txt -o -name '*.cmake' \) -print0 \
  | xargs -0 grep -niE 'file *\( *GLOB|aux_source_directory *\(' | grep -v 'cmake/Compile.cmake:.*CONFIGURE_DEPENDS'; then
  printf 'name the files instead\n'
  exit 1
fi
