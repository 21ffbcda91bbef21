# shellcheck shell=bash
# Runs every fuzz target. Sourced by ./dev.

fuzz_executions=10000000

# prove_fuzz [SECONDS] [TARGET...]: runs the targets, two at a time, each until it reaches the limit on executions or
# seconds.
prove_fuzz() {
  require_linux
  local seconds=600 failed=false targets target
  if is_count "${1-}"; then seconds=$1; shift; fi
  mapfile -t targets < <(fuzz_targets)
  for target in "$@"; do
    [ -d "fuzz/corpus/$target" ] || usage "prove fuzz has no target \"$target\"; its targets are ${targets[*]}"
  done
  [ $# -eq 0 ] || targets=("$@")
  ensure_packages build sanitizers
  build fuzz "${targets[@]/#/fuzz_}"
  rm -rf build/fuzz/runs
  mkdir -p build/fuzz/findings
  say "fuzzing each target up to $fuzz_executions times or for $seconds s, two at a time"
  printf '%-24s %12s %8s %14s %12s  %s\n' target executions seconds executions/s 'new entries' findings
  printf '%s\n' "${targets[@]}" \
    | xargs -P 2 -I '{}' bash -c 'fuzz_target "$@"' fuzz_target '{}' "$seconds" "$fuzz_executions" || failed=true
  ! $failed || fail "there are findings; the inputs are in build/fuzz/findings, the logs in build/fuzz/runs"
}

fuzz_targets() {
  local corpus
  for corpus in fuzz/corpus/*/; do basename "$corpus"; done
}

# fuzz_target NAME SECONDS EXECUTIONS: runs a target and prints its line of the table; fails if there is a finding.
fuzz_target() {
  local name=$1 seconds=$2 executions=$3 run=build/fuzz/runs/$1 status=0 findings='0 findings'
  mkdir -p "$run/new"
  "build/fuzz/fuzz/fuzz_$name" -runs="$executions" -max_total_time="$seconds" -timeout=60 -max_len=4096 \
    -print_final_stats=1 -artifact_prefix="build/fuzz/findings/$name-" \
    "$run/new" "fuzz/corpus/$name" >"$run/log" 2>&1 || status=$?
  [ $status -eq 0 ] || findings="FOUND, see $run/log"
  awk -v name="$name" -v findings="$findings" '
    /^Done [0-9]+ runs in/ { seconds = $5 }
    /^stat::number_of_executed_units/ { executions = $2 }
    /^stat::new_units_added/ { added = $2 }
    END { printf "%-24s %12d %8d %14d %12d  %s\n", name, executions, seconds,
          executions / (seconds + !seconds), added, findings }' "$run/log"
  [ $status -eq 0 ] || tail -n 25 "$run/log" >&2
  return $status
}
export -f fuzz_target
