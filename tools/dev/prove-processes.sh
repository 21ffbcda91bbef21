# shellcheck shell=bash
# Runs the proofs that use real processes. Each parallel helper has its own copy of a staged installation. Sourced by
# prove.sh.

prove_delays() { prove_processes delays "$@"; }
prove_kill() { prove_processes kill "$@"; }

# prove_soak [MINUTES]: runs two days of virtual time, in which no byte may leak, and then real processes in real time.
prove_soak() {
  require_linux
  prove_in_memory soak 48
  prove_processes soak "$@"
}

prove_processes() {
  require_linux
  local folder=build/prove-$1 status=0 # separate, because several proofs may run at the same time
  ensure_packages build
  stage_into "$folder"
  build_programs tools prove_processes rawclient
  cp "$(built tools rawclient)" "$folder/rawclient"
  cp "$(built tools rawclient)" "$folder/stranger" # stays unsigned
  stage_sign "$folder" rawclient app.kelo.Kelo
  set -- "$(built tools prove_processes)" "$folder" "$@"
  # A helper with a separate log needs root rights, which a user namespace provides.
  [ "$(id -u)" -eq 0 ] || set -- unshare --map-root-user --mount "$@"
  say "load at the start: $(cut -d ' ' -f 1-3 /proc/loadavg)"
  "$@" || status=$?
  say "load at the end: $(cut -d ' ' -f 1-3 /proc/loadavg)"
  [ $status -eq 0 ] || fail "a promise was broken"
}
