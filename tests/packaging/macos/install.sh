#!/usr/bin/env bash
# Checks what ./dev install and ./dev uninstall say and do, with stand-ins for everything that they call.
#
# Run from the top of the repository.
set -euo pipefail

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/bin"
calls=$folder/calls

# Stand-ins that write down how they are called. launchctl bootstrap refuses twice: the former job is still leaving.
for command in cmake codesign lipo sudo; do
  cat >"$folder/bin/$command" <<'STUB'
#!/usr/bin/env bash
{ printf '%s' "$(basename "$0")"; printf ' %q' "$@"; printf '\n'; } >>"$CALLS"
case $* in
  *bootout*) exit "${BOOTOUT_STATUS-0}" ;;
  *bootstrap*) [ "$(grep -c bootstrap "$CALLS")" -gt 2 ] ;;
esac
STUB
done
cat >"$folder/bin/uname" <<'STUB'
#!/bin/sh
echo "${SYSTEM-Darwin}"
STUB
cat >"$folder/bin/find" <<'STUB'
#!/bin/sh
echo "${WRITABLE-}"
STUB
printf '#!/bin/sh\n' >"$folder/bin/sleep"
printf '#!/bin/sh\n' >"$folder/bin/brew" # everything is installed
chmod +x "$folder"/bin/*

dev() { PATH="$folder/bin:$PATH" CALLS="$calls" "$@" ./dev "${arguments[@]}" >"$folder/out" 2>"$folder/err"; }
failure() { printf '%s\n' "$*"; cat "$folder/out" "$folder/err" "$calls" 2>/dev/null; exit 1; }
expect_calls() { diff - "$calls" || failure "other calls than expected: $1"; }

identity='Developer ID Application: Example (ABCDE12345)'
quoted='Developer\ ID\ Application:\ Example\ \(ABCDE12345\)'
expected=$(cat <<EOF
cmake --preset product
cmake --build --preset product
lipo build/product/app.kelo.helper -verify_arch arm64 x86_64
codesign --force --timestamp --options runtime --identifier app.kelo.helper --sign $quoted build/product/app.kelo.helper
codesign --verify --strict build/product/app.kelo.helper
lipo build/product/kelo -verify_arch arm64 x86_64
codesign --force --timestamp --options runtime --identifier app.kelo.Kelo --sign $quoted build/product/kelo
codesign --verify --strict build/product/kelo
sudo mkdir -p /Library/PrivilegedHelperTools /usr/local/bin
sudo install -o root -g wheel -m 755 build/product/app.kelo.helper /Library/PrivilegedHelperTools/.app.kelo.helper.new
sudo mv -f /Library/PrivilegedHelperTools/.app.kelo.helper.new /Library/PrivilegedHelperTools/app.kelo.helper
sudo install -o root -g wheel -m 755 build/product/kelo /usr/local/bin/.kelo.new
sudo mv -f /usr/local/bin/.kelo.new /usr/local/bin/kelo
sudo install -o root -g wheel -m 644 packaging/macos/app.kelo.helper.plist /Library/LaunchDaemons/.app.kelo.helper.plist.new
sudo mv -f /Library/LaunchDaemons/.app.kelo.helper.plist.new /Library/LaunchDaemons/app.kelo.helper.plist
sudo launchctl enable system/app.kelo.helper
sudo launchctl bootout system/app.kelo.helper
sudo launchctl bootstrap system /Library/LaunchDaemons/app.kelo.helper.plist
EOF
)

# A dry run says every one of these, and calls nothing.
arguments=(install --identity "$identity" --dry-run)
dev env SYSTEM=Linux || failure "the dry run failed"
[ ! -e "$calls" ] || failure "the dry run called something"
while IFS= read -r line; do
  grep -qF -- "$line" "$folder/out" || failure "the dry run does not say: $line"
done <<<"$expected"

# The real thing says the same first, and then does it; while the former helper leaves, it tries again.
cp "$folder/out" "$folder/said"
arguments=(install "--identity=$identity")
dev env || failure "installing failed"
[ "$(head -n "$(wc -l <"$folder/said")" "$folder/out")" = "$(cat "$folder/said")" ] \
  || failure "something else was said than by the dry run"
{
  printf '%s\n' "$expected"
  printf 'sudo launchctl bootstrap system /Library/LaunchDaemons/app.kelo.helper.plist\n%.0s' 1 2
} | expect_calls install

# A helper that is not loaded is no reason to stop; a folder that others may write is.
rm "$calls"
dev env BOOTOUT_STATUS=3 || failure "installing failed where nothing was loaded"
rm "$calls"
if dev env WRITABLE=/Library/PrivilegedHelperTools; then failure "a writable folder was accepted"; fi
grep -q 'somebody else could replace the helper' "$folder/err" || failure "the writable folder was not named"
if grep -q 'sudo install' "$calls"; then failure "something was installed into a writable folder"; fi

# Elsewhere nothing is done.
rm "$calls"
if dev env SYSTEM=Linux; then failure "it claims to have installed on Linux"; fi
[ ! -e "$calls" ] || failure "something was called on Linux"

arguments=(install)
if dev env; then failure "it installed without an identity"; fi
grep -q -- '--identity' "$folder/err" || failure "the missing identity was not named"
arguments=(install --identity x --force)
if dev env; then failure "it took an unknown option"; fi

arguments=(uninstall --dry-run)
dev env SYSTEM=Linux || failure "the dry run of uninstall failed"
[ ! -e "$calls" ] || failure "the dry run of uninstall called something"
arguments=(uninstall)
dev env || failure "uninstalling failed"
expect_calls uninstall <<'EOF'
sudo launchctl bootout system/app.kelo.helper
sudo rm -f /Library/LaunchDaemons/app.kelo.helper.plist /Library/PrivilegedHelperTools/app.kelo.helper /usr/local/bin/kelo
EOF
printf 'install and uninstall do what they say\n'
