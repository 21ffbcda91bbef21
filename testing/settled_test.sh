#!/usr/bin/env bash
# Tests settled.sh in a temporary checkout.
#
# Run from the top of the repository.
source testing/script.sh

settled=$PWD/testing/settled.sh
mkdir "$folder/checkout"
cd "$folder/checkout"
git init --quiet
unset KELO_EVERY_TEST

# This test counts its runs, and fails while a file "broken" exists.
cat >"$folder/test" <<TEST
#!/bin/sh
echo run >>"$folder/runs"
[ ! -e broken ]
TEST
chmod +x "$folder/test"
echo one >file

# runs COUNT WHY: calls settled.sh again and expects COUNT runs in total.
runs() {
  "$settled" "$folder/passed" "$folder/test" >/dev/null || true
  [ "$(wc -l <"$folder/runs")" -eq "$1" ] || failure "$2"
}
runs 1 'it does not run at first'
runs 1 'it runs again with the same files'
echo two >file
runs 2 'it does not run although a file has changed'
touch new
runs 3 'it does not run although a file was added'
touch broken
runs 4 'it does not run although an added file breaks it'
runs 5 'it counts as passed although it failed'
if "$settled" "$folder/passed" "$folder/test" >/dev/null; then failure "it hides a failure"; fi
rm broken
runs 7 'it does not run after it failed'
runs 7 'it runs again with the same files'
echo '# changed' >>"$folder/test"
runs 8 'it does not run although the program has changed'
KELO_EVERY_TEST=1 runs 9 'it does not run although KELO_EVERY_TEST is set'
rm -rf .git
runs 10 'it does not run without a checkout'
