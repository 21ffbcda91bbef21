# shellcheck shell=bash
# Measures the cost of the helper on a Mac, for the figures that docs/performance.md still lacks. Sourced by
# confirm-on-a-mac.sh, whose functions and variables it uses.
# shellcheck disable=SC2154

cost_milliseconds=600000 # duration of each of the two periods
cost_runs=20             # number of runs of each command

# figure NAME VALUE UNIT: prints a figure and adds it to the report's table.
figure() {
  printf '%s: %s %s\n' "$1" "$2" "$3"
  printf '| %s | %s %s |\n' "$1" "$2" "$3" >>"$scratch/figures"
}

helper_pid() { state | awk '$1 == "pid" { print $3; found = 1 } END { exit !found }'; }

# processor_time PID: prints the CPU time that the process has used so far, in milliseconds. ps prints
# "[hours:]minutes:seconds.hundredths".
processor_time() {
  LC_ALL=C ps -o cputime= -p "$1" \
    | awk -F '[:.]' 'NF > 2 { for (i = 1; i < NF; i++) s = s * 60 + $i; print (s * 100 + $NF) * 10; found = 1 }
                     END { exit !found }'
}

# measure_period NAME: reports CPU time and wake-ups during a period.
measure_period() {
  local pid before after tasks wakeups
  pid=$(helper_pid)
  before=$(processor_time "$pid")
  tasks=$(sudo powermetrics --samplers tasks -n 1 -i $cost_milliseconds)
  after=$(processor_time "$pid") # fails if the helper has exited
  figure "processor time, $1" $((after - before)) "ms in ten minutes"
  # The last two columns are wake-ups per second: by interrupts, and from the deepest idle state.
  grep -q 'Wakeups (Intr, Pkg idle)$' <<<"$tasks" || { printf 'powermetrics prints no wake-ups:\n%s\n' "$tasks"; return 1; }
  wakeups=$(awk -v pid="$pid" '$2 == pid { printf "%.1f", $(NF - 1) * 60 }' <<<"$tasks")
  figure "wake-ups, $1" "${wakeups:-0 (not listed)}" "per minute"
}

# seconds_of COMMAND...: prints the total time of all runs.
seconds_of() {
  local TIMEFORMAT=%3R i
  { time for ((i = 0; i < cost_runs; i++)); do "$@" >/dev/null 2>&1; done; } 2>&1
}

# Both commands take the same time in the client, so the difference between their times is the time of the snapshot.
measure_snapshot() {
  local version status each='BEGIN { printf "%.2f", (all - less) * 1000 / runs }'
  version=$(seconds_of kelo version)
  status=$(seconds_of kelo status)
  figure "one snapshot" "$(awk -v all="$status" -v less="$version" -v runs=$cost_runs "$each")" ms
  figure "kelo version, from its start to its end" "$(awk -v all="$version" -v less=0 -v runs=$cost_runs "$each")" ms
}

# One root shell sends the signal and polls until the process has exited, so that no program starts in between.
measure_exit() {
  local seconds
  # shellcheck disable=SC2016 # root's shell expands it
  seconds=$(sudo /bin/bash -c 'TIMEFORMAT=%3R; time { kill -TERM $0; while kill -0 $0 2>/dev/null; do :; done; }' \
    "$(helper_pid)" 2>&1)
  figure "SIGTERM to exit, holding" "$(awk -v s="$seconds" 'BEGIN { printf "%d", s * 1000 }')" ms
}

cost() {
  ask "The helper's cost is measured for 20 minutes. Do not use the fans meanwhile. Begin?" \
    || leave_out "declined"
  try kelo version # starts the helper
  measure_period idle
  measure_snapshot
  hold_meanwhile 60% --for 15m
  kill -STOP "$holding" # the stopped client keeps the hold, but requests no snapshots
  measure_period holding
  measure_exit
}
