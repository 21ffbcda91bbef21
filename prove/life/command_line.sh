#!/usr/bin/env bash
# Fails if prove_life accepts an invalid scenario, or exits without printing its seed first.
#
# usage: command_line.sh PROVE_LIFE
source testing/script.sh

prove_life=$1

# replayed FILE STATUS TEXT: checks the output and the exit status of --replay.
replayed() {
  local status=0 output
  output=$("$prove_life" --replay "$1" 2>&1) || status=$?
  [ "$status $output" = "$2 $3" ] || failure "\"$1\": expected $2 $3, got $status $output"
}

# refused WHY LINE...: checks that a scenario with these lines is refused.
refused() {
  local script=$folder/script
  printf '%s\n' "${@:2}" >"$script"
  replayed "$script" 2 "prove_life: invalid scenario \"$script\": $1"
}

printf '%s\n' 'machine 2' start connect 'hold 0 0.5' 'chip nan' 'pass 2' 'signal 15' >"$folder/life"
replayed "$folder/life" 0 'no difference'

for none in "$folder/missing" ''; do replayed "$none" 2 "prove_life: invalid scenario \"$none\": it cannot be read"; done
for empty in /dev/null "$folder"; do replayed "$empty" 2 "prove_life: invalid scenario \"$empty\": it has no start"; done
refused 'it has no start' 'machine 2' 'pass 2'
refused 'line 2 is not an input: ' start ''
for nonsense in 'something else' 'pass soon' 'pass 2s' 'pass 2 3 4 5'; do
  refused "line 2 is not an input: $nonsense" start "$nonsense"
done

exec 3< <(exec "$prove_life" --steps 1000000000 --seed 7)
read -r -t 60 first <&3 || first='none within a minute'
kill -KILL $!
[[ $first == 'seed 7, '* ]] || failure "the first line does not name the seed: $first"
