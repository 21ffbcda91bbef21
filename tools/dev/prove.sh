# shellcheck shell=bash
# What the helper promises, in figures. Sourced by ./dev.

# shellcheck source=tools/dev/prove-processes.sh
source tools/dev/prove-processes.sh

command_prove() {
  local what=${1-}
  case $what in
    delays | kill | soak) shift; ensure_packages; "prove_$what" "$@" ;;
    *) usage "prove does not know \"$what\"" ;;
  esac
}
