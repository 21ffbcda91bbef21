#!/usr/bin/env bash
# Checks the scripts and the uninstaller of the installer package, with stand-ins for the system's programs.
#
# Run from the top of the repository.
# shellcheck disable=SC2016 # the stand-ins expand the variables
source testing/script.sh

mkdir "$folder/system"
calls=$folder/calls

# The scripts name programs and installed files by absolute path. The test runs copies in which a folder with stand-ins
# replaces these paths.
for script in scripts/preinstall scripts/postinstall uninstall; do
  if grep -E '^[^#]*(^|[ (|])(launchctl|sleep|rm|rmdir|id|pkgutil|dirname) ' "packaging/macos/package/$script"; then
    printf '%s calls a program without its absolute path\n' "$script"
    exit 1
  fi
  sed -E "s#(^|[^a-z])/(usr/s?bin|bin)/([a-z]+)#\1$folder/system/\3#g" "packaging/macos/package/$script" \
    >"$folder/$(basename "$script")"
done
sed "s#/Library/.*uninstall\$#$folder/system/uninstall#" "$folder/postinstall" >"$folder/edited"
mv "$folder/edited" "$folder/postinstall"

# launchctl simulates a job that exits after $LEAVES_AFTER queries and is loaded at attempt $LOADS_AT.
cat >"$folder/system/launchctl" <<'STUB'
#!/bin/sh
echo "launchctl $*" >>"$CALLS"
case $1 in
  bootout) exit "${BOOTOUT_STATUS-0}" ;;
  print) [ "$(grep -c 'launchctl print' "$CALLS")" -le "${LEAVES_AFTER-0}" ] ;;
  bootstrap) [ "$(grep -c 'launchctl bootstrap' "$CALLS")" -ge "${LOADS_AT-1}" ] ;;
esac
STUB
for command in rm rmdir pkgutil uninstall; do
  printf '#!/bin/sh\necho "%s $*" >>"$CALLS"\n' "$command" >"$folder/system/$command"
done
cat >"$folder/kelo" <<'STUB'
#!/bin/sh
echo "kelo $*" >>"$CALLS"
case " ${REFUSES_AT-} " in *" $(grep -c 'kelo status' "$CALLS") "*) exit 1 ;; esac
exit "${KELO_STATUS-0}"
STUB
printf '#!/bin/sh\n' >"$folder/system/sleep"
printf '#!/bin/sh\necho "${USER_ID-0}"\n' >"$folder/system/id"
printf '#!/bin/sh\nexec dirname "$@"\n' >"$folder/system/dirname" # a link would make chmod change the system's program
chmod +x "$folder"/system/* "$folder"/kelo

# play STATUS SCRIPT VOLUME [VARIABLE=VALUE...]
play() {
  local expected=$1 script=$2 volume=$3 status=0
  shift 3
  rm -f "$calls"
  touch "$calls"
  env CALLS="$calls" "$@" sh "$folder/$script" package.pkg / "$volume" / 2>"$folder/err" || status=$?
  [ "$status" -eq "$expected" ] || failure "$script $volume $* exits with $status, not $expected"
}
expect_calls() { diff - "$calls" || failure "unexpected calls: $1"; }
expect_says() { grep -qF -- "$1" "$folder/err" || failure "it does not print: $1"; }
count() { grep -c -- "$1" "$calls" || true; }

# --- a volume other than the running system's
for script in preinstall postinstall; do
  play 0 $script /Volumes/Other
  expect_calls "another volume" </dev/null
done

# --- preinstall: the running helper hands the fans back and exits
play 0 preinstall / LEAVES_AFTER=2
printf 'launchctl %s\n' 'bootout system/app.kelo.helper' 'print system/app.kelo.helper' \
  'print system/app.kelo.helper' 'print system/app.kelo.helper' | expect_calls preinstall
play 0 preinstall / BOOTOUT_STATUS=3
play 1 preinstall / LEAVES_AFTER=1000
expect_says 'does not stop. Restart the Mac'
limit=$(sed -n '/ExitTimeOut/{n;s/[^0-9]//g;p;}' packaging/macos/app.kelo.helper.plist)
[ "$(count 'launchctl print')" -gt "$limit" ] || failure "it does not wait as long as launchd"

# --- postinstall: launchd loads the new helper, which reports whether there is a fan
play 0 postinstall / LOADS_AT=3
load='launchctl bootstrap system /Library/LaunchDaemons/app.kelo.helper.plist'
printf '%s\n' "$load" "$load" "$load" 'kelo status' | expect_calls postinstall
play 1 postinstall / LOADS_AT=1000
expect_says 'Login Items'
play 0 postinstall / 'REFUSES_AT=1 2'
[ "$(count 'kelo status')" -eq 3 ] || failure "it does not ask again"
play 0 postinstall / KELO_STATUS=3 # the helper is unreachable, so the Mac may have a fan
[ "$(count 'uninstall')" -eq 0 ] || failure "it removes a helper that cannot be reached"
play 1 postinstall / KELO_STATUS=1
expect_says 'This Mac has no controllable fan.'
[ "$(tail -n 1 "$calls" | cut -d ' ' -f 1)" = uninstall ] || failure "it leaves the helper on a Mac without a fan"

# --- uninstall: the helper exits first; then all files of the package are removed, and no others
installed=$(bash -c 'source tools/dev/macos.sh && payload /usr/local' | cut -d ' ' -f 3)
play 0 uninstall / LEAVES_AFTER=1
{
  printf 'launchctl %s\n' 'bootout system/app.kelo.helper' 'print system/app.kelo.helper' 'print system/app.kelo.helper'
  printf '%s\n' "$installed" /Library/PrivilegedHelperTools/app.kelo.helper.uninstall | sort
  printf 'rmdir /usr/local/share/doc/kelo\npkgutil --forget app.kelo.helper.package\n'
} >"$folder/expected"
awk '/^rm / { for (i = 3; i <= NF; i++) print $i | "sort"; close("sort"); next } { print }' "$calls" >"$folder/removed"
diff "$folder/expected" "$folder/removed" || failure "it does not remove exactly the installed files"
play 1 uninstall / LEAVES_AFTER=1000
expect_says 'Nothing was removed.'
[ "$(count '^rm ')" -eq 0 ] || failure "it removes a running helper"
play 1 uninstall / USER_ID=501
expect_says 'run as root'
expect_calls "not as root" </dev/null
printf 'the scripts of the package work\n'
