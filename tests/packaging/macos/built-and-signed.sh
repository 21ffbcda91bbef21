# shellcheck shell=bash
# Sourced by the tests of ./dev install and ./dev package, which share their first steps.

# built_and_signed IDENTITY: prints the calls by which ./dev builds and signs the helper and the client.
built_and_signed() {
  printf 'cmake %s\n' '--preset product' '--build --preset product'
  signed "$1" app.kelo.helper app.kelo.helper
  signed "$1" kelo app.kelo.Kelo
}

# signed IDENTITY PROGRAM IDENTIFIER
signed() {
  printf 'lipo build/product/%s -verify_arch arm64 x86_64\n' "$2"
  printf 'codesign --force --timestamp --options runtime --identifier %s --sign %q build/product/%s\n' "$3" "$1" "$2"
  printf 'codesign --verify --strict build/product/%s\n' "$2"
}
