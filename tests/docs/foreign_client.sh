#!/usr/bin/env bash
# Runs a Python client, written only from docs/protocol.md, with a helper. The helper checks the executable of a client,
# so a signed copy of the interpreter runs this one.
#
# usage: foreign_client.sh HELPER SIMMAC SIMSIGN: the programs, unsigned
# Run from the top of the repository.
source testing/script.sh

interpreter=$(readlink -f /usr/bin/python3) || true
[ -x "$interpreter" ] || { printf 'skipped: there is no /usr/bin/python3\n'; exit 77; }
world=$folder/world
mac='' helper=''
trap 'kill $helper $mac 2>/dev/null || true; wait; rm -rf "$folder"' EXIT

mkdir -p "$world/simulated-mac"
chmod 700 "$world/simulated-mac"
cp "$@" "$world/"
cp "$interpreter" "$world/interpreter"
"$world/simsign" init "$folder/keys" --team TESTTEAM01 >/dev/null
cp "$folder/keys/anchor.pub" "$world/simulated-mac/"
sign() { "$world/simsign" sign "$world/$1" --identifier "$2" --team TESTTEAM01 --keys "$folder/keys" >/dev/null; }
sign app.kelo.helper app.kelo.helper
sign interpreter app.kelo.Kelo

"$world/simmac" serve >"$folder/mac.log" 2>&1 &
mac=$!
for _ in {1..100}; do "$world/simmac" show >"$folder/show.log" 2>&1 && break; sleep 0.1; done
"$world/app.kelo.helper" 2>"$folder/helper.log" &
helper=$!
for _ in {1..100}; do [ -S "$world/app.kelo.helper.socket" ] && break; sleep 0.1; done

client=$PWD/tests/docs/foreign_client.py
cd "$world"
PYTHONHOME=/usr ./interpreter -B "$client"
