#!/usr/bin/env bash
# The functions that ./dev reads are in many files and share one room: each is defined once, since a second one of the
# same name takes the place of the first, whoever calls it.
#
# Run from the top of the repository.
set -euo pipefail

doubles=$(sed -n "s/^source //p" dev | xargs grep -hoE "^[a-z_]+\(\)" dev | sort | uniq -d)
[ -z "$doubles" ] || { printf 'defined more than once: %s\n' "$doubles"; exit 1; }
