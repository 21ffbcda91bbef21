# shellcheck shell=bash
# Figures of real processes: a staged installation, copied as often as helpers run side by side. Sourced by prove.sh.

prove_delays() { prove_processes delays "$@"; }
prove_kill() { prove_processes kill "$@"; }

# prove_soak [MINUTES]: two days on virtual time, in which not a byte may be lost; then real processes in real time.
prove_soak() {
  require_linux
  prove_in_memory soak 48
  prove_processes soak "$@"
}

prove_processes() {
  require_linux
  local folder=build/prove-$1 status=0 # of its own: several may run at a time
  ensure_packages build
  stage_into "$folder"
  build_programs tools prove_processes rawclient
  cp "$(built tools rawclient)" "$folder/rawclient"
  cp "$(built tools rawclient)" "$folder/stranger" # stays unsigned
  stage_sign "$folder" rawclient app.kelo.Kelo
  set -- "$(built tools prove_processes)" "$folder" "$@"
  # A helper with a log of its own needs the superuser's rights, be it in a user namespace.
  [ "$(id -u)" -eq 0 ] || set -- unshare --map-root-user --mount "$@"
  say "load at the start: $(cut -d ' ' -f 1-3 /proc/loadavg)"
  "$@" || status=$?
  say "load at the end: $(cut -d ' ' -f 1-3 /proc/loadavg)"
  [ $status -eq 0 ] || fail "not every promise was kept"
}
