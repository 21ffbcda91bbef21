#!/usr/bin/env bash
# Replaces the seeds of fuzz_code_signature and their trust anchor. Deletes the private keys, so that no other file can
# be signed for this anchor.
#
# usage: fuzz/sign-seeds.sh SIMSIGN, from the top of the repository
set -euo pipefail

simsign=$1
seeds=fuzz/corpus/code_signature
keys=$(mktemp -d)
trap 'rm -r "$keys"' EXIT

# sign NAME IDENTIFIER TEAM [KEYS]
sign() {
  printf 'content' >"$seeds/$1"
  "$simsign" sign "$seeds/$1" --identifier "$2" --team "$3" --keys "${4-$keys/ours}"
}
# patch NAME OFFSET BYTES: overwrites bytes in a copy of the valid seed; a negative offset counts from the end.
patch() {
  local offset=$2
  cp "$seeds/signed" "$seeds/$1"
  [ "$offset" -ge 0 ] || offset=$(($(stat -c %s "$seeds/$1") + offset))
  printf '%b' "$3" | dd of="$seeds/$1" bs=1 seek="$offset" conv=notrunc status=none
}

"$simsign" init "$keys/ours"
"$simsign" init "$keys/foreign"
cp "$keys/ours/anchor.pub" fuzz/anchor.pub
rm -rf "$seeds"
mkdir -p "$seeds"
sign signed app.kelo.Kelo ABCDE12345
sign quoted 'a "b"' 'O"U'
sign foreign app.kelo.Kelo ABCDE12345 "$keys/foreign"
patch altered 0 C
patch other-team 8 Z
patch other-identifier $((7 + 256 + 32 + 64 + 1)) b
patch unprintable 8 '\n'
patch version-1 -12 '\x01'
printf 'content' >"$seeds/unsigned"
tail -c 12 "$seeds/signed" >"$seeds/cut-short"
