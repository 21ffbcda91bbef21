# shellcheck shell=bash
# The promise as figures. Sourced by ./dev.

command_prove() {
  local what=${1-}
  [ $# -gt 0 ] && shift
  case $what in
    faults | life) prove_with "prove_$what" "$@" ;;
    *) usage "prove proves faults or life, not \"$what\"" ;;
  esac
}

# prove_with PROGRAM [ARGUMENT...]: with assertions, as in the everyday build.
prove_with() {
  local program=$1
  shift
  ensure_packages
  say "building $program"
  cmake --preset debug >/dev/null
  cmake --build --preset debug --target "$program"
  "build/debug/prove/$program" "$@"
}
