#!/usr/bin/env bash
# Checks what the workflow runs: each step's form, as the shell of the workflow reads it; and those for a Mac are played
# with the helper as it is here and with stand-ins for Apple's tools and for the client, which are no Mac's.
#
# usage: workflow-steps.sh HELPER
# Run from the top of the repository.
source testing/script.sh

top=$PWD helper=$1
mkdir -p "$folder/steps" "$folder/bin"

# Each step's command, on its line or in the block below it, becomes a script.
awk -v to="$folder/steps" '
  inside && (NF == 0 || match($0, /[^ ]/) > key) { print substr($0, key + 2) >file; next }
  { inside = 0 }
  match($0, /^ *(- )?run: */) {
    command = substr($0, RLENGTH + 1)
    key = index($0, "run:")
    file = sprintf("%s/%02d.sh", to, ++number)
    if (command == "|") inside = 1; else print command >file
  }' .github/workflows/*.yml
sed -i 's/\${{[^}]*}}/value/g' "$folder"/steps/*
[ "$(cat .github/workflows/*.yml | grep -c 'run:')" -eq "$(find "$folder/steps" -type f | wc -l)" ] || failure "a step was missed"
for step in "$folder"/steps/*; do bash -n "$step"; done

# ./dev comes with tests of its own; here it counts that it knows what it is told.
while read -r command; do
  ./dev help | grep -qE "^  $command( |\$)" || failure "./dev does not know \"$command\""
done < <(sed -nE 's|^\./dev ([a-z]+).*|\1|p' "$folder"/steps/*)
for preset in $(sed -nE 's/^ *preset: \[(.*)\]/\1/p' .github/workflows/*.yml | tr -d ,); do
  cmake --list-presets | grep -qF "\"$preset\"" || failure "there is no preset \"$preset\""
done

# --- the steps for a Mac

for tool in cmake lipo vtool otool plutil codesign; do
  cat >"$folder/bin/$tool" <<'STUB'
#!/usr/bin/env bash
printf '%s %s\n' "$(basename "$0")" "$*" >>"$CALLS"
for file; do [[ $file != */* ]] || [ -f "$file" ] || { echo "there is no $file"; exit 1; }; done
STUB
done
# Waits for what the workflow gives three seconds to: the helper's last line, after which its signals are watched.
cat >"$folder/bin/sleep" <<'STUB'
#!/bin/sh
left=300
until grep -q "isn't signed" log.txt; do
  left=$((left - 1))
  [ $left -gt 0 ] || { echo "the helper says nothing"; exit 1; }
  /bin/sleep 0.1
done
/bin/sleep 0.3
STUB
chmod +x "$folder"/bin/*

# A checkout with what the product's build leaves. The client says what it says on a Mac.
checkout=$folder/checkout
mkdir -p "$checkout/build/product"
cp -R packaging "$checkout/"
cp "$helper" "$checkout/build/product/app.kelo.helper"
touch "$checkout"/build/product/{app.kelo.helper,kelo}-Info.plist
sentence=$(sed -nE 's/.*HelperUnreachable\("(.*signed.*)"\).*/\1/p' platform/macos/ConnectToHelper.cpp)
printf '#!/bin/sh\necho "kelo: %s" >&2\nexit 3\n' "$sentence" >"$checkout/build/product/kelo"
chmod +x "$checkout/build/product/kelo"

# play STEP: as the workflow does where a step names no shell. One that waits for ever takes its helper with it.
play() { (cd "$checkout" && PATH="$folder/bin:$PATH" CALLS="$folder/calls" timeout 60 bash -e "$1"); }

played=0
for step in "$folder"/steps/*; do
  if grep -q '^\./dev ' "$step"; then continue; fi
  play "$step" >"$folder/out" 2>&1 || { cat "$step" "$folder/out"; failure "this step fails or does not end"; }
  played=$((played + 1))
done
[ $played -eq 5 ] || failure "$played steps were played"

# Every property list that ships is looked at.
for list in $(cd "$top" && find packaging -name '*.plist'); do
  grep -q "^plutil -lint .*$list" "$folder/calls" || failure "nothing looks at $list"
done
printf 'the steps of the workflow run as far as they can here\n'
