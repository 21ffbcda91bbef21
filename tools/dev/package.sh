# shellcheck shell=bash
# Builds an installer package for Macs. Sourced by ./dev.
# shellcheck disable=SC2154 # the variables are set in macos.sh

package_folder=build/package
package_identifier=app.kelo.helper.package
package_sources=packaging/macos/package
package_uninstaller=$macos_helper_folder/$macos_helper.uninstall

command_package() {
  local identity='' installer_identity='' profile='' dry_run=false
  while [ $# -gt 0 ]; do
    case $1 in
      --identity) [ $# -ge 2 ] || usage "--identity needs a name"; identity=$2; shift 2 ;;
      --identity=*) identity=${1#*=}; shift ;;
      --installer-identity) [ $# -ge 2 ] || usage "--installer-identity needs a name"; installer_identity=$2; shift 2 ;;
      --installer-identity=*) installer_identity=${1#*=}; shift ;;
      --notarize) [ $# -ge 2 ] || usage "--notarize needs a keychain profile"; profile=$2; shift 2 ;;
      --notarize=*) profile=${1#*=}; shift ;;
      --dry-run) dry_run=true; shift ;;
      *) usage "unknown argument \"$1\" for package" ;;
    esac
  done
  [ -n "$identity" ] || usage "package needs --identity NAME, a \"Developer ID Application\""
  [ -n "$installer_identity" ] || usage "package needs --installer-identity NAME, a \"Developer ID Installer\""
  say_and_do "$dry_run" package_steps
}

package_steps() {
  local version package
  version=$(current_version)
  package=$package_folder/kelo-helper-$version.pkg
  build_and_sign
  say "copy the files to install, with their final modes"
  lay_out_package
  say "build the package"
  run_as "$package_folder/distribution.xml: $package_sources/distribution.xml.in for version $version" \
    make_distribution "$version"
  run pkgbuild --root "$package_folder/root" --identifier "$package_identifier" --version "$version" \
    --install-location / --ownership recommended --scripts "$package_folder/scripts" "$package_folder/component.pkg"
  run productbuild --distribution "$package_folder/distribution.xml" --package-path "$package_folder" \
    --sign "$installer_identity" --timestamp "$package"
  run pkgutil --check-signature "$package"
  [ -z "$profile" ] || notarize "$package"
  say "write the checksum of the final file"
  run_as "$package.sha256" make_checksum "$package"
}

lay_out_package() {
  local mode source place
  run rm -rf "$package_folder"
  while read -r mode source place <&3; do
    run mkdir -p "$package_folder/root$(dirname "$place")"
    run install -m "$mode" "$source" "$package_folder/root$place"
  done 3< <(payload /usr/local && printf '755 %s %s\n' "$package_sources/uninstall" "$package_uninstaller")
  run mkdir -p "$package_folder/scripts"
  run install -m 755 "$package_sources/scripts/preinstall" "$package_sources/scripts/postinstall" \
    "build/product/$macos_client" "$package_folder/scripts"
  run chmod -R u=rwX,go=rX "$package_folder" # independent of the umask, because the folders keep these modes on the Mac
}

make_distribution() {
  sed "s/@VERSION@/$1/" "$package_sources/distribution.xml.in" >"$package_folder/distribution.xml"
}

make_checksum() { (cd "$(dirname "$1")" && checksum "$(basename "$1")" >"$(basename "$1").sha256"); }

# notarize PACKAGE: submits the package to Apple and staples the ticket to it, so that it can be opened offline.
notarize() {
  say "have Apple notarize it"
  run_as "xcrun notarytool submit $1 --keychain-profile $profile --wait --output-format json >$1.notarytool.json" \
    submit "$1"
  run_as "xcrun notarytool log ID --keychain-profile $profile $1.notarytool-log.json   (and stop unless it was accepted)" \
    require_acceptance "$1"
  run xcrun stapler staple "$1"
  run xcrun stapler validate "$1"
  run spctl -a -vv -t install "$1"
}

submit() {
  xcrun notarytool submit "$1" --keychain-profile "$profile" --wait --output-format json >"$1.notarytool.json"
}

# Fails unless Apple has accepted the package, because notarytool exits with status 0 for every verdict.
require_acceptance() {
  local id verdict
  id=$(plutil -extract id raw -o - "$1.notarytool.json")
  verdict=$(plutil -extract status raw -o - "$1.notarytool.json")
  xcrun notarytool log "$id" --keychain-profile "$profile" "$1.notarytool-log.json"
  [ "$verdict" = Accepted ] || fail "Apple's verdict is \"$verdict\"; the reasons are in $1.notarytool-log.json"
}
