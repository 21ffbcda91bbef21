#!/usr/bin/env bash
# Checks the syntax of each step of the workflow, and runs the steps for a Mac with the local helper and with stand-ins
# for Apple's tools and the client.
#
# usage: workflow-steps.sh HELPER
# Run from the top of the repository.
source testing/script.sh

top=$PWD helper=$1
mkdir -p "$folder/steps" "$folder/bin"

# Writes a script for the command of each step, which is on the line of "run:" or in the block below it.
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
[ "$(cat .github/workflows/*.yml | grep -c 'run:')" -eq "$(find "$folder/steps" -type f | wc -l)" ] || failure "a step is missing"
for step in "$folder"/steps/*; do bash -n "$step"; done

# Other tests cover ./dev; this one checks only that its commands and presets exist.
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
# The workflow waits three seconds. The stand-in waits for the helper's last start-up line, after which the helper
# handles signals.
cat >"$folder/bin/sleep" <<'STUB'
#!/bin/sh
left=300
until grep -q "isn't signed" log.txt; do
  left=$((left - 1))
  [ $left -gt 0 ] || { echo "the helper logs nothing"; exit 1; }
  /bin/sleep 0.1
done
/bin/sleep 0.3
STUB
chmod +x "$folder"/bin/*

# Creates a checkout with the output of the product's build. The stand-in for the client prints the error message of a
# Mac without a signed helper.
checkout=$folder/checkout
mkdir -p "$checkout/build/product"
cp -R packaging "$checkout/"
cp "$helper" "$checkout/build/product/app.kelo.helper"
touch "$checkout"/build/product/{app.kelo.helper,kelo}-Info.plist
sentence=$(sed -nE 's/.*HelperUnreachable\("(.*signed.*)"\).*/\1/p' platform/macos/ConnectToHelper.cpp)
printf '#!/bin/sh\necho "kelo: %s" >&2\nexit 3\n' "$sentence" >"$checkout/build/product/kelo"
chmod +x "$checkout/build/product/kelo"

# play STEP: runs a step as the workflow does, with its default shell. The timeout also ends a helper started by the
# step.
play() { (cd "$checkout" && PATH="$folder/bin:$PATH" CALLS="$folder/calls" timeout 60 bash -e "$1"); }

played=0
for step in "$folder"/steps/*; do
  if grep -q '^\./dev ' "$step"; then continue; fi
  play "$step" >"$folder/out" 2>&1 || { cat "$step" "$folder/out"; failure "this step fails or does not end"; }
  played=$((played + 1))
done
[ $played -eq 5 ] || failure "$played steps were run"

# The workflow checks every shipped property list.
for list in $(cd "$top" && find packaging -name '*.plist'); do
  grep -q "^plutil -lint .*$list" "$folder/calls" || failure "not checked: $list"
done
printf 'the steps of the workflow run with stand-ins\n'
