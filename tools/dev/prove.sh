# shellcheck shell=bash
# Runs the proofs. Sourced by ./dev.

# shellcheck source=tools/dev/prove-processes.sh
source tools/dev/prove-processes.sh
# shellcheck source=tools/dev/prove-fuzz.sh
source tools/dev/prove-fuzz.sh
# shellcheck source=tools/dev/prove-mutants.sh
source tools/dev/prove-mutants.sh

command_prove() {
  local what=${1-}
  case $what in
    faults | life | delays | kill | soak | fuzz | mutants) shift; "prove_$what" "$@" ;;
    *) usage "unknown proof \"$what\"" ;;
  esac
}

prove_faults() { prove_in_memory faults "$@"; }
prove_life() { prove_in_memory life "$@"; }

# prove_in_memory PROOF [ARGUMENT...]: builds the proof with the debug preset, which enables assertions, and runs it.
prove_in_memory() {
  local program=prove_$1
  shift
  ensure_packages build
  build_programs debug "$program"
  "build/debug/prove/$program" "$@"
}
