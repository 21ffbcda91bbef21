#!/usr/bin/env bash
# Checks the images that the workflow uses, because a job with a retired image waits forever.
#
# Run from the top of the repository.
set -euo pipefail

workflow=.github/workflows/ci.yml
offered=(ubuntu-24.04 macos-15 macos-15-intel) # deployment to macOS 14 does not depend on them

images=$(sed -nE 's/^ *(runs-on|image): *\[?([^]#]*)\]?.*/\2/p' "$workflow" | grep -v 'matrix\.' | tr -s ',[:space:]' '\n' | grep .)
for image in $images; do
  printf '%s\n' "${offered[@]}" | grep -qxF -- "$image" || { printf '%s is not an available image\n' "$image"; exit 1; }
done
for image in "${offered[@]}"; do
  grep -qxF -- "$image" <<<"$images" || { printf 'no job uses %s\n' "$image"; exit 1; }
done
printf 'the workflow runs on %s\n' "$(xargs <<<"$images")"
