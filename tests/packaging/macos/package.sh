#!/usr/bin/env bash
# Checks the output, the calls and the files of ./dev package, with stand-ins for the tools of a Mac.
#
# Run from the top of the repository.
source testing/script.sh

# shellcheck source=tests/packaging/macos/built-and-signed.sh
source "$(dirname "${BASH_SOURCE[0]}")/built-and-signed.sh"

tree=$folder/tree calls=$folder/calls
mkdir "$folder/bin" "$tree"
cp -R dev tools packaging CMakeLists.txt THIRD_PARTY_NOTICES.md "$tree/"

# Stand-ins that record their calls. The programs that cmake builds only print completions.
for command in cmake codesign lipo pkgbuild productbuild pkgutil xcrun spctl; do
  cat >"$folder/bin/$command" <<'STUB'
#!/usr/bin/env bash
{ printf '%s' "$(basename "$0")"; printf ' %q' "$@"; printf '\n'; } >>"$CALLS"
case "$(basename "$0") $*" in
  'cmake --build'*)
    mkdir -p build/product
    printf '#!/bin/sh\necho "$* of kelo"\n' >build/product/kelo
    printf '#!/bin/sh\n' >build/product/app.kelo.helper
    chmod 700 build/product/kelo build/product/app.kelo.helper ;;
  productbuild*) echo package >"${@: -1}" ;;
  'xcrun notarytool submit'*) printf '{"id": "1-2-3", "status": "%s"}\n' "${VERDICT-Accepted}" ;;
  'xcrun stapler staple'*) echo ticket >>"${@: -1}" ;;
esac
STUB
done
cat >"$folder/bin/plutil" <<'STUB'
#!/usr/bin/env bash
[ "$1 $3 $4 $5" = "-extract raw -o -" ] || exit 1
sed -nE "s/.*\"$2\": \"([^\"]*)\".*/\1/p" "$6"
STUB
cat >"$folder/bin/uname" <<'STUB'
#!/bin/sh
echo "${SYSTEM-Darwin}"
STUB
printf '#!/bin/sh\n' >"$folder/bin/brew" # all packages are installed
chmod +x "$folder"/bin/*

dev() {
  rm -f "$calls"
  PATH="$folder/bin:$PATH" CALLS="$calls" "$@" "$tree/dev" package "${arguments[@]}" >"$folder/out" 2>"$folder/err"
}

version=$(sed -n 's/^project(KeloHelper VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
package=build/package/kelo-helper-$version.pkg
installer='Developer\ ID\ Installer:\ Example\ \(ABCDE12345\)'
identity='Developer ID Application: Example (ABCDE12345)'
signing=(--identity "$identity"
  --installer-identity 'Developer ID Installer: Example (ABCDE12345)')
made=$(cat <<EOT
$(built_and_signed "$identity")
pkgbuild --root build/package/root --identifier app.kelo.helper.package --version $version --install-location / --ownership recommended --scripts build/package/scripts build/package/component.pkg
productbuild --distribution build/package/distribution.xml --package-path build/package --sign $installer --timestamp $package
pkgutil --check-signature $package
EOT
)
submitted=$(cat <<EOT
xcrun notarytool submit $package --keychain-profile profile --wait --output-format json
xcrun notarytool log 1-2-3 --keychain-profile profile $package.notarytool-log.json
EOT
)
stapled=$(cat <<EOT
xcrun stapler staple $package
xcrun stapler validate $package
spctl -a -vv -t install $package
EOT
)

# --- a dry run prints every step and runs none
arguments=("${signing[@]}" --notarize profile --dry-run)
dev env SYSTEM=Linux || failure "the dry run failed"
if [ -e "$calls" ] || [ -e "$tree/build" ]; then failure "the dry run created files or called programs"; fi
while IFS= read -r line; do
  grep -qF -- "${line/1-2-3/ID}" "$folder/out" || failure "the dry run does not print: $line"
done <<<"$made"$'\n'"$submitted"$'\n'"$stapled"
cp "$folder/out" "$folder/said"

# --- the real run first prints the same steps; the modes are independent of the umask
arguments=("${signing[@]}" --notarize=profile)
(umask 077 && dev env) || failure "packaging failed"
[ "$(head -n "$(wc -l <"$folder/said")" "$folder/out")" = "$(cat "$folder/said")" ] \
  || failure "the output differs from the dry run"
printf '%s\n' "$made" "$submitted" "$stapled" | diff - "$calls" || failure "unexpected calls"
(cd "$tree/build/package/root" && find . -exec ls -ld {} + | awk '{ print substr($1, 1, 10), $NF }' | sort -k 2) >"$folder/laid-out"
diff - "$folder/laid-out" <<'EOT' || failure "the packaged files differ"
drwxr-xr-x .
drwxr-xr-x ./Library
drwxr-xr-x ./Library/LaunchDaemons
-rw-r--r-- ./Library/LaunchDaemons/app.kelo.helper.plist
drwxr-xr-x ./Library/PrivilegedHelperTools
-rwxr-xr-x ./Library/PrivilegedHelperTools/app.kelo.helper
-rwxr-xr-x ./Library/PrivilegedHelperTools/app.kelo.helper.uninstall
drwxr-xr-x ./usr
drwxr-xr-x ./usr/local
drwxr-xr-x ./usr/local/bin
-rwxr-xr-x ./usr/local/bin/kelo
drwxr-xr-x ./usr/local/share
drwxr-xr-x ./usr/local/share/bash-completion
drwxr-xr-x ./usr/local/share/bash-completion/completions
-rw-r--r-- ./usr/local/share/bash-completion/completions/kelo
drwxr-xr-x ./usr/local/share/doc
drwxr-xr-x ./usr/local/share/doc/kelo
-rw-r--r-- ./usr/local/share/doc/kelo/THIRD_PARTY_NOTICES.md
drwxr-xr-x ./usr/local/share/fish
drwxr-xr-x ./usr/local/share/fish/vendor_completions.d
-rw-r--r-- ./usr/local/share/fish/vendor_completions.d/kelo.fish
drwxr-xr-x ./usr/local/share/man
drwxr-xr-x ./usr/local/share/man/man1
-rw-r--r-- ./usr/local/share/man/man1/kelo.1
drwxr-xr-x ./usr/local/share/man/man8
-rw-r--r-- ./usr/local/share/man/man8/app.kelo.helper.8
drwxr-xr-x ./usr/local/share/zsh
drwxr-xr-x ./usr/local/share/zsh/site-functions
-rw-r--r-- ./usr/local/share/zsh/site-functions/_kelo
EOT
cd "$tree/build/package"
for completed in bash-completion/completions/kelo=bash zsh/site-functions/_kelo=zsh fish/vendor_completions.d/kelo.fish=fish; do
  grep -qx "completions ${completed#*=} of kelo" "root/usr/local/share/${completed%=*}" \
    || failure "not the completions of ${completed#*=}"
done
[ "$(find scripts -type f -perm 755 | sort | xargs)" = "scripts/kelo scripts/postinstall scripts/preinstall" ] \
  || failure "unexpected scripts"
[ "$(bash -c 'source "$1" && checksum "$2"' - "$tree/tools/dev/release.sh" "kelo-helper-$version.pkg")" \
  = "$(cat "kelo-helper-$version.pkg.sha256")" ] || failure "the checksum is not of the stapled package"
xmllint --nonet --noout distribution.xml
[ "$(xmllint --xpath 'string(//options/@hostArchitectures)' distribution.xml)" = arm64,x86_64 ] \
  || failure "an Apple chip would need Rosetta for the installer"
[ "$(xmllint --xpath 'string(//pkg-ref/@version)' distribution.xml)" = "$version" ] || failure "wrong version"
cd "$tree"

# --- without notarizing, and with a verdict other than Accepted, which notarytool reports with exit status 0
arguments=("${signing[@]}")
dev env || failure "packaging without notarizing failed"
printf '%s\n' "$made" | diff - "$calls" || failure "unexpected calls without notarizing"
arguments=("${signing[@]}" --notarize profile)
if dev env VERDICT=Invalid; then failure "it continues with a package that Apple refuses"; fi
grep -q 'verdict is "Invalid"; the reasons are in' "$folder/err" || failure "the verdict is not printed"
if grep -q stapler "$calls"; then failure "it staples a package that Apple refuses"; fi

# --- refused arguments
refused() {
  local text=$1
  shift
  arguments=("$@")
  if dev env; then failure "\"package $*\" was accepted"; fi
  grep -qF -- "$text" "$folder/err" || failure "\"package $*\" does not print: $text"
  [ ! -e "$calls" ] || failure "\"package $*\" called a program"
}
refused --identity --installer-identity x
refused --installer-identity --identity x
refused 'unknown argument' "${signing[@]}" --force
arguments=("${signing[@]}")
if dev env SYSTEM=Linux; then failure "it claims to have packaged on Linux"; fi
[ ! -e "$calls" ] || failure "a program was called on Linux"
printf 'the package is built as printed\n'
