#!/usr/bin/env bash
# Checks the output and the calls of ./dev install and ./dev uninstall, with stand-ins for all programs that they call.
#
# Run from the top of the repository.
source testing/script.sh

# shellcheck source=tests/packaging/macos/built-and-signed.sh
source "$(dirname "${BASH_SOURCE[0]}")/built-and-signed.sh"

tree=$folder/tree calls=$folder/calls
mkdir -p "$folder/bin" "$folder/usr/bin" "$folder/usr/local/bin" "$tree/build/product"
cp -R dev tools packaging CMakeLists.txt THIRD_PARTY_NOTICES.md "$tree/"
printf '#!/bin/sh\n' >"$tree/build/product/kelo"
chmod +x "$tree/build/product/kelo"

# Stand-ins that record their calls. launchctl bootstrap fails twice, because the old helper is still exiting.
for command in bin/cmake bin/codesign bin/lipo usr/bin/sudo; do
  cat >"$folder/$command" <<'STUB'
#!/usr/bin/env bash
{ printf '%s' "$(basename "$0")"; printf ' %q' "$@"; printf '\n'; } >>"$CALLS"
case $* in
  *bootout*) exit "${BOOTOUT_STATUS-0}" ;;
  *bootstrap*) [ "$(grep -c bootstrap "$CALLS")" -gt 2 ] ;;
  */usr/bin/codesign\ --verify*) exit "${VERIFY_STATUS-0}" ;;
  *codesign\ -dvv*)
    printf 'Identifier=x\nCodeDirectory v=20500 size=1 flags=%s hashes=1\n' "${FLAGS-0x10000(runtime)}" >&2 ;;
  *--entitlements*) printf '%s\n' "${ENTITLEMENTS-}" ;;
esac
STUB
done
cat >"$folder/bin/uname" <<'STUB'
#!/bin/sh
echo "${SYSTEM-Darwin}"
STUB
# Other users may write to $WRITABLE because of its owner or mode, and to $LISTED because of an access control list. An
# unexpected call reports every folder as writable.
cat >"$folder/usr/bin/find" <<'STUB'
#!/bin/sh
[ "$*" = "$1 -maxdepth 0 ( ! -user root -o -perm -020 -o -perm -002 )" ] || echo "$1"
[ "$1" != "${WRITABLE-}/." ] || echo "$1"
STUB
cat >"$folder/bin/ls" <<'STUB'
#!/bin/sh
[ "$1" = -lde ] || exit 1
printf 'drwxr-xr-x+ 4 root  wheel  128 Nov 21 12:00 %s\n 0: group:everyone deny delete\n' "$2"
[ "$2" != "${LISTED-}/." ] || echo ' 1: user:somebody allow add_file'
STUB
printf '#!/bin/sh\n' >"$folder/bin/sleep"
printf '#!/bin/sh\n' >"$folder/bin/brew" # all packages are installed
chmod +x "$folder"/bin/* "$folder"/usr/bin/*

dev() {
  PATH="$folder/bin:$PATH" CALLS="$calls" KELO_MACOS_SYSTEM="$folder" "$@" "$tree/dev" "${arguments[@]}" \
    >"$folder/out" 2>"$folder/err"
}
expect_calls() { diff - "$calls" || failure "unexpected calls: $1"; }

# put MODE SOURCE FOLDER NAME [IDENTIFIER]: prints the expected calls that install one file.
put() {
  printf 'sudo /bin/mkdir -p %s\n' "$3"
  printf 'sudo /usr/bin/install -o root -g wheel -m %s %s %s\n' "$1" "$2" "$3/.$4.new"
  [ $# -lt 5 ] || verified "$3/.$4.new" "$5"
  printf 'sudo /bin/mv -f %s %s\n' "$3/.$4.new" "$3/$4"
}
verified() {
  printf 'sudo /usr/bin/codesign --verify --strict -R=anchor\\ apple\\ generic\\ and\\ identifier\\ \\"%s\\" %s\n' "$2" "$1"
  printf 'sudo /usr/bin/codesign -dvv %s\n' "$1"
  printf 'sudo /usr/bin/codesign -d --entitlements - --xml %s\n' "$1"
}
# client PREFIX: prints the expected calls that install the client files.
client() {
  put 755 build/product/kelo "$1/bin" kelo app.kelo.Kelo
  put 644 packaging/man/kelo.1 "$1/share/man/man1" kelo.1
  put 644 packaging/man/app.kelo.helper.8 "$1/share/man/man8" app.kelo.helper.8
  put 644 build/product/completions/bash "$1/share/bash-completion/completions" kelo
  put 644 build/product/completions/zsh "$1/share/zsh/site-functions" _kelo
  put 644 build/product/completions/fish "$1/share/fish/vendor_completions.d" kelo.fish
  put 644 THIRD_PARTY_NOTICES.md "$1/share/doc/kelo" THIRD_PARTY_NOTICES.md
}

identity='Developer ID Application: Example (ABCDE12345)'
expected=$(cat <<EOF
$(built_and_signed "$identity")
sudo /bin/mkdir -p /Library/PrivilegedHelperTools /Library/LaunchDaemons
$(put 755 build/product/app.kelo.helper /Library/PrivilegedHelperTools app.kelo.helper app.kelo.helper)
$(client /usr/local)
$(put 644 packaging/macos/app.kelo.helper.plist /Library/LaunchDaemons app.kelo.helper.plist)
sudo /bin/launchctl enable system/app.kelo.helper
sudo /bin/launchctl bootout system/app.kelo.helper
sudo /bin/launchctl bootstrap system /Library/LaunchDaemons/app.kelo.helper.plist
EOF
)

# A dry run prints all of these steps but runs none of them.
arguments=(install --identity "$identity" --dry-run)
dev env SYSTEM=Linux || failure "the dry run failed"
[ ! -e "$calls" ] || failure "the dry run called a program"
while IFS= read -r line; do
  case $line in *codesign\ -d*) continue ;; esac # the dry run describes these calls in words
  grep -qF -- "$line" "$folder/out" || failure "the dry run does not print: $line"
done <<<"$expected"
for copy in /Library/PrivilegedHelperTools/.app.kelo.helper.new /usr/local/bin/.kelo.new; do
  grep -qF "(stop unless $copy has the hardened runtime and lacks get-task-allow)" "$folder/out" \
    || failure "the dry run does not describe the check of $copy"
done

# The real run first prints the same steps, then runs them. It retries while the old helper is exiting.
cp "$folder/out" "$folder/said"
arguments=(install "--identity=$identity")
dev env || failure "installing failed"
[ "$(head -n "$(wc -l <"$folder/said")" "$folder/out")" = "$(cat "$folder/said")" ] \
  || failure "the output differs from the dry run"
{
  printf '%s\n' "$expected"
  printf 'sudo /bin/launchctl bootstrap system /Library/LaunchDaemons/app.kelo.helper.plist\n%.0s' 1 2
} | expect_calls install

# Installing succeeds if the job was not loaded.
rm "$calls"
dev env BOOTOUT_STATUS=3 || failure "installing failed without a loaded job"

# refused TEXT VARIABLE=VALUE: checks that a program with this fault is refused with this text.
refused() {
  rm "$calls"
  if dev env "$2"; then failure "installed with $2"; fi
  grep -qF -- "$1" "$folder/err" || failure "it does not print the reason, with $2: $1"
  if grep -q '/bin/mv' "$calls"; then failure "a file was installed with $2"; fi
}
for open in / /Library /Library/PrivilegedHelperTools /Library/LaunchDaemons; do
  for fault in "WRITABLE=$open" "LISTED=$open"; do
    refused "another user may write to $open and could replace the helper" "$fault"
    if grep -q '/usr/bin/install' "$calls"; then failure "a file was copied with $fault"; fi
  done
done
refused 'is not the signed program' VERIFY_STATUS=3
refused 'without the hardened runtime' 'FLAGS=0x0(none)'
refused 'allows debugging' 'ENTITLEMENTS=<key>com.apple.security.get-task-allow</key><true/>'

# If a user may write to /usr/local, ./dev install installs the client in another folder and prints that folder.
for fault in WRITABLE=/usr/local LISTED=/usr/local/bin; do
  rm "$calls"
  dev env "$fault" || failure "installing failed with $fault"
  diff <(client /opt/kelo) <(grep -F /opt/kelo "$calls") || failure "wrong client files with $fault"
  if grep -q /usr/local "$calls"; then failure "a file is installed in /usr/local with $fault"; fi
  grep -q 'Add /opt/kelo/bin to your path' "$folder/out" || failure "it does not print the folder of the client"
done

# A new Mac lacks /usr/local/bin. The installation creates this folder, owned by root.
rm "$calls"
rmdir "$folder/usr/local/bin"
dev env LISTED=/usr/local/bin || failure "installing failed without /usr/local/bin"
diff <(client /usr/local) <(grep -F /usr/local "$calls") || failure "wrong client files without /usr/local/bin"

# On other systems, ./dev install does nothing.
rm "$calls"
if dev env SYSTEM=Linux; then failure "it claims to have installed on Linux"; fi
[ ! -e "$calls" ] || failure "a program was called on Linux"

arguments=(install)
if dev env; then failure "it installed without an identity"; fi
grep -q -- '--identity' "$folder/err" || failure "the missing identity was not reported"
arguments=(install --identity x --force)
if dev env; then failure "it accepted an unknown option"; fi

arguments=(uninstall --dry-run)
dev env SYSTEM=Linux || failure "the dry run of uninstall failed"
[ ! -e "$calls" ] || failure "the dry run of uninstall called a program"
arguments=(uninstall)
dev env || failure "uninstalling failed"
removed() { client "$1" | sed -n 's|.*/bin/mv -f [^ ]*|sudo /bin/rm -f|p'; }
expect_calls uninstall <<EOF
sudo /bin/launchctl bootout system/app.kelo.helper
sudo /bin/rm -f /Library/PrivilegedHelperTools/app.kelo.helper
$(removed /usr/local)
sudo /bin/rm -f /Library/LaunchDaemons/app.kelo.helper.plist
$(removed /opt/kelo)
EOF
printf 'install and uninstall do what they say\n'
