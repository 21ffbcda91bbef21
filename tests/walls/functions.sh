#!/usr/bin/env bash
# Fails if a function of ./dev is defined twice. Its files share one namespace, in which a second definition would
# replace the first.
#
# Run from the top of the repository.
set -euo pipefail

doubles=$(sed -n "s/^source //p" dev | xargs grep -hoE "^[a-z_]+\(\)" dev | sort | uniq -d)
[ -z "$doubles" ] || { printf 'defined more than once: %s\n' "$doubles"; exit 1; }
