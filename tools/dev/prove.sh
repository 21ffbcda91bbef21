# shellcheck shell=bash
# Long proofs, each in a file of its own. Sourced by ./dev.

# shellcheck source=tools/dev/prove-fuzz.sh
source tools/dev/prove-fuzz.sh
# shellcheck source=tools/dev/prove-mutants.sh
source tools/dev/prove-mutants.sh

command_prove() {
  local proof=${1-}
  case $proof in
    fuzz | mutants) ;;
    *) usage "prove does not know \"$proof\"" ;;
  esac
  shift
  ensure_packages
  "prove_$proof" "$@"
}
