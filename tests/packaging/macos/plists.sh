#!/usr/bin/env bash
# Checks the property lists of the macOS product.
#
# usage: plists.sh LAUNCHD-PLIST EMBEDDED-PLIST INFO-PLIST VERSION
set -euo pipefail

installed=$1 embedded=$2 info=$3 version=$4

xmllint --nonet --noout "$installed" "$embedded" "$info"

# value FILE KEY...: prints the element and text of the last key's value. The other keys name the nested dictionaries.
value() {
  local file=$1 path=/plist/dict key
  shift
  for key in "$@"; do
    path="$path/key[.=\"$key\"]/following-sibling::*[1]"
  done
  printf '%s %s' "$(xmllint --nonet --xpath "name($path)" "$file")" \
    "$(xmllint --nonet --xpath "normalize-space($path)" "$file")"
}

# expect VALUE FILE KEY...
expect() {
  local expected=$1 actual
  shift
  actual=$(value "$@")
  if [ "${actual% }" != "$expected" ]; then
    printf '%s: expected <%s>, found <%s>\n' "$*" "$expected" "$actual"
    exit 1
  fi
}

# Each list names the helper with one of two keys. A list with both keys could start the wrong helper.
has() { [ "$(xmllint --nonet --xpath "count(//key[.='$2'])" "$1")" != 0 ]; }
expect 'array /Library/PrivilegedHelperTools/app.kelo.helper' "$installed" ProgramArguments
expect 'string Contents/MacOS/app.kelo.helper' "$embedded" BundleProgram
if has "$installed" BundleProgram || has "$embedded" ProgramArguments; then printf 'a list names two programs\n'; exit 1; fi

for launchd in "$installed" "$embedded"; do
  expect 'string app.kelo.helper' "$launchd" Label
  expect 'true' "$launchd" MachServices app.kelo.helper
  expect 'false' "$launchd" KeepAlive SuccessfulExit # restarts it after a crash but not after a normal exit
  expect 'true' "$launchd" RunAtLoad # implied by SuccessfulExit, but stated for readers
  expect 'string app.kelo.Kelo' "$launchd" AssociatedBundleIdentifiers
  # The exit timeout must exceed 40 seconds: 4 seconds for each of ten fans.
  seconds=$(value "$launchd" ExitTimeOut)
  [ "${seconds#integer }" -ge 45 ] || { printf 'ExitTimeOut is %s\n' "$seconds"; exit 1; }
  expect 'string Interactive' "$launchd" ProcessType # no throttling when the Mac is busiest
  # No other keys are allowed: another user, a single launch or SIGKILL without SIGTERM would leave fans held.
  known=' Label ProgramArguments BundleProgram MachServices app.kelo.helper RunAtLoad KeepAlive SuccessfulExit '
  known+='ExitTimeOut ProcessType AssociatedBundleIdentifiers '
  unknown="//key[not(contains('$known', concat(' ', ., ' ')))]"
  [ "$(xmllint --nonet --xpath "count($unknown)" "$launchd")" = 0 ] \
    || { printf '%s is set\n' "$(xmllint --nonet --xpath "$unknown" "$launchd")"; exit 1; }
done

expect 'string app.kelo.helper' "$info" CFBundleIdentifier
expect 'string Kelo Helper' "$info" CFBundleName
expect "string $version" "$info" CFBundleVersion
expect "string $version" "$info" CFBundleShortVersionString
expect 'string 6.0' "$info" CFBundleInfoDictionaryVersion
expect 'string 14.0' "$info" LSMinimumSystemVersion
printf 'the property lists are correct\n'
