#!/usr/bin/env bash
# Runs tools/dev/confirm-on-a-mac.sh with stand-ins for a Mac's programs. Checks the order of its calls, its questions
# and its report.
#
# Run from the top of the repository.
source testing/script.sh

tree=$folder/tree calls=$folder/calls out=$folder/out report=$folder/report.md
mkdir -p "$folder/bin" "$tree/tools/dev" "$tree/packaging/macos" "$tree/build/product"
cp tools/dev/confirm-on-a-mac.sh tools/dev/confirm-cost.sh "$tree/tools/dev/"
real_sleep=$(command -v sleep) real_mktemp=$(command -v mktemp) real_ps=$(command -v ps)

# One stand-in replaces all programs. It records its call and prints the output of a Mac without faults. A call that
# matches the pattern $FAULT fails, or prints $SAYS if that is set. "log show" always prints its headings.
cat >"$folder/bin/stand-in" <<'STUB'
#!/usr/bin/env bash
call="$(basename "$0") $*"
[[ $0 != "$TMPDIR"* ]] || call="another's $call"
sed "s#$TMPDIR/[^/ ]*#COPY#g; s#$FOLDER/bin#BIN#g; s# $(cat "$FOLDER/pid")\$# PID#" <<<"$call" >>"$CALLS"
case $call in
  'log show'*)
    printf 'Filtering the log data using "%s"\n' "${@: -1}"
    echo 'Skipping info and debug messages, pass --info and/or --debug to include.'
    printf 'Timestamp                       Thread     Type        Activity             PID    TTL\n' ;;
esac
# shellcheck disable=SC2053 # a pattern
if [[ -n ${FAULT-} && $call == $FAULT ]]; then
  [ -n "${SAYS-}" ] || exit 1
  printf '%s\n' "$SAYS"
  exit 0
fi
case $call in
  'pmset sleepnow') grep -q 'put to sleep now' "$OUT" || echo UNASKED >>"$CALLS" ;;
  *--hand-back-on-lid-close*) grep -q 'close the lid' "$OUT" || echo UNASKED >>"$CALLS" ;;
  'codesign -d'*) printf '%s\n' Identifier=app.kelo.helper 'CodeDirectory v=1 flags=0x10000(runtime)' \
    TeamIdentifier=ABCDE12345 'Timestamp=1 Nov 2026' >&2 ;;
  'lipo -archs'*) echo 'x86_64 arm64' ;;
  otool*) echo '<key>CFBundleVersion</key>' ;;
  'sudo launchctl kill'*) echo "$3" >"$SIGNAL" ;;
  'sudo /bin/bash'*) exec "$@" ;;
  'sudo powermetrics'*)
    printf '*** Sampled system activity (600000ms elapsed) ***\n\n*** Running tasks ***\n\n%-34s %-6s %s\n' Name ID \
      'CPU ms/s  User%  Deadlines (<2 ms, 2-5 ms)  Wakeups (Intr, Pkg idle)'
    printf '%-34s %-6s %s\n' 'Some Other' 1 '1.00  50.00  0.00  0.00  9.00  9.00'
    if holder=$(cat "$FOLDER/holder" 2>/dev/null); then # a running client fetches a snapshot every second
      case $("$REAL_PS" -o state= -p "$holder") in T*) wakeups=0.50 ;; *) wakeups=1.50 ;; esac
      printf '%-34s %-6s %s\n' app.kelo.helper "$(cat "$FOLDER/pid")" "0.15  30.00  0.00  0.00  $wakeups  0.25"
    fi ;;
  ps*) # CPU time: constant while idle, higher at the second call during a hold
    looks=$(grep -c '^ps' "$CALLS")
    if [ "$looks" -lt 4 ]; then echo '  0:59.98'; else echo '  1:00.07'; fi ;;
  'sudo launchctl print'*)
    echo 'system/app.kelo.helper = {'
    if grep -q TERM "$SIGNAL" 2>/dev/null; then
      echo 'state = not running'
    else
      printf '\tstate = running\n\tpid = %s\n' "$(cat "$FOLDER/pid")"
    fi ;;
  'kelo hold 60% --for 15m')
    echo $$ >"$FOLDER/holder"
    while :; do "$REAL_SLEEP" 0.01; done ;;
  'kelo version') rm -f "$SIGNAL"; echo 'Interface version 6' ;; # starts the helper
  "another's kelo status") exit 3 ;;
  'kelo status') "$REAL_SLEEP" "${SNAPSHOT-0}" ;;
  'log show'*-67050*) echo 'denied: -67050' ;;
  'log show'*) printf 'app.kelo.helper %s\n' 'hold: sleeping' 'hold: woke' 'hold: yielded' 'Our binary was deleted or moved.' ;;
  stat*)
    if grep -q '^sudo installer' "$CALLS"; then owner=${OWNER_AFTERWARDS-admin}; else owner=admin; fi
    printf '%s '"$owner"':wheel drwxr-xr-x\n' /usr/local /usr/local/bin ;;
  ioreg*) echo '"AppleClamshellState" = No' ;;
  'sudo leaks'*) echo 'Process 1: 0 leaks for 0 total leaked bytes.' ;;
  'dev package'*) mkdir -p build/package && touch build/package/kelo-helper-1.2.3.pkg ;;
esac
STUB
for command in sw_vers sysctl clang git cmake codesign lipo otool plutil sudo kelo log ioreg pmset arch stat ps swift; do
  ln -s stand-in "$folder/bin/$command"
done
cp "$folder/bin/stand-in" "$tree/dev"
cat >"$folder/bin/uname" <<'STUB'
#!/bin/sh
if [ "${1-}" = -m ]; then echo "${PROCESSOR-arm64}"; else echo "${SYSTEM-Darwin}"; fi
STUB
# On macOS, mktemp ignores TMPDIR unless the template contains it.
cat >"$folder/bin/mktemp" <<STUB
#!/bin/sh
for last; do :; done
case \$last in *XXXXXX) ;; *) set -- "\$@" "\$FOLDER/not-TMPDIR.XXXXXX" ;; esac
exec $real_mktemp "\$@"
STUB
# This stand-in for sleep ends as soon as the hold or the helper has started.
cat >"$folder/bin/sleep" <<STUB
#!/bin/sh
case \$1 in
  5) waits() { ! tail -n 1 "\$CALLS" | grep -q '^kelo hold'; } ;;
  3) waits() { ! rm "\$FOLDER/started" 2>/dev/null; } ;;
  *) exit 0 ;;
esac
left=3000
while waits && [ \$left -gt 0 ]; do left=\$((left - 1)); $real_sleep 0.01; done
STUB
cat >"$tree/build/product/app.kelo.helper" <<STUB
#!/usr/bin/env bash
trap 'exit \${HELPER_STATUS-0}' TERM
echo "This helper isn't signed, so there is no one it can safely trust."
touch "\$FOLDER/started"
while :; do $real_sleep 0.01; done
STUB
chmod +x "$folder"/bin/* "$tree/build/product/app.kelo.helper" "$tree/dev"

shown=("$out" "$report")
# confirm STATUS ANSWERS [VARIABLE=VALUE...] -- ARGUMENT...
#
# Simulates the installed helper with a process that takes 30 ms to exit.
confirm() {
  local expected=$1 answers=$2 status=0 variables=()
  shift 2
  while [ "$1" != -- ]; do variables+=("$1"); shift; done
  shift
  rm -rf "$calls" "$folder/signal" "$report" "$folder/tmp"
  mkdir "$folder/tmp"
  bash -c "trap '$real_sleep 0.03; exit' TERM; while :; do $real_sleep 0.01; done" &
  echo $! >"$folder/pid"
  # shellcheck disable=SC2086 # one word per answer
  printf '%s\n' $answers | env PATH="$folder/bin:$PATH" TMPDIR="$folder/tmp" CALLS="$calls" OUT="$out" FOLDER="$folder" \
    REAL_SLEEP="$real_sleep" REAL_PS="$real_ps" SIGNAL="$folder/signal" ${variables[@]+"${variables[@]}"} \
    "$tree/tools/dev/confirm-on-a-mac.sh" --report "$report" "$@" >"$out" 2>&1 || status=$?
  kill "$(cat "$folder/pid")" 2>/dev/null || true
  [ "$status" -eq "$expected" ] || failure "$* exits with $status, not $expected"
}
verdicts() { awk '/^## / { getline; getline; print }' "$report" | LC_ALL=C sort | uniq -c | sed 's/^ *//' | tr '\n' ','; }
# verdict TITLE: prints the verdict in the report's row with this title.
verdict() { awk -v title="## $1" '$0 == title { getline; getline; print }' "$report"; }

all=(--identity A --other-identity B --installer-identity I)

# --- every row of the document, in order, without faults
confirm 0 "y y y y y" SNAPSHOT=0.2 -- "${all[@]}"
rows() { sed -n '/^## Unconfirmed on a Mac/,$s/^| \([^|]*\) | .*/\1/p' docs/macos.md | grep -vxE 'behaviour|a listener that is never.*'; }
diff <(rows) <(sed -n 's/^## //p' "$report") || failure "the rows differ from those of docs/macos.md"
[ "$(verdicts)" = "22 confirmed," ] || failure "not all rows are confirmed: $(verdicts)"
if grep -q UNASKED "$calls"; then failure "it puts the Mac to sleep, or waits for the lid, without asking first"; fi
for question in 'Save your work: the Mac is put to sleep now' 'be ready to close the lid' 'Did the fans change their speed' \
  'Do the speeds and the temperature above match this Mac?' 'is measured for 20 minutes'; do
  [ "$(grep -cF "$question" "$out")" -eq 1 ] || failure "not asked once: $question"
  grep -qF "$question" "$report" || failure "the answer is not reported: $question"
done
[ -z "$(ls -A "$folder/tmp")" ] || failure "it leaves temporary files"
diff - <(uniq -c "$calls" | sed -E 's/^ +1 //; s/^ +([0-9]+) (.*)/\2, \1 times/') <<'EOT' || failure "unexpected calls"
sw_vers 
sysctl -n hw.model
clang --version
git rev-parse HEAD
dev test
swift build --package-path samples/KeloClient --scratch-path build/swift
dev test -- -R ^macos_
cmake --preset product
cmake --build --preset product
codesign --force --sign - COPY/app.kelo.helper
dev install --identity A
lipo -archs build/product/app.kelo.helper
codesign -dv --verbose=4 build/product/app.kelo.helper, 3 times
otool -s __TEXT __info_plist -v build/product/app.kelo.helper
codesign -dvv build/product/app.kelo.helper
codesign --verify -R=anchor apple generic and identifier "app.kelo.Kelo" and certificate leaf[subject.OU] = "ABCDE12345" BIN/kelo
plutil -lint packaging/macos/app.kelo.helper.plist
sudo launchctl print system/app.kelo.helper
kelo version
kelo status
codesign --force --sign - --identifier app.kelo.Kelo COPY/kelo
another's kelo status
codesign --force --options runtime --identifier app.kelo.Kelo --sign B COPY/kelo
another's kelo status
log show --last 1m --predicate eventMessage CONTAINS "-67050"
dev install --identity B
another's kelo status
dev install --identity A
arch -x86_64 BIN/kelo hold 0.5 --for 3s
kelo status, 3 times
kelo hold 60% --for 20s
kelo status, 2 times
kelo hold 60% --for 5m
pmset sleepnow
log show --last 10m --predicate subsystem == "app.kelo.helper", 2 times
pmset -g log
ioreg -r -k AppleClamshellState -d 1
kelo hold 60% --hand-back-on-lid-close --for 30s
log show --last 2m --predicate subsystem == "app.kelo.helper"
sudo launchctl kill SIGKILL system/app.kelo.helper
sudo launchctl print system/app.kelo.helper
sudo launchctl kill SIGTERM system/app.kelo.helper
sudo launchctl print system/app.kelo.helper
kelo version
dev package --identity A --installer-identity I
stat -f %N %Su:%Sg %Sp /usr/local /usr/local/bin /usr/local/share
sudo installer -pkg build/package/kelo-helper-1.2.3.pkg -target / -verboseR
stat -f %N %Su:%Sg %Sp /usr/local /usr/local/bin /usr/local/share
kelo status
sudo /Library/PrivilegedHelperTools/app.kelo.helper.uninstall
dev install --identity A
kelo hold 60% --for 5m
dev install --identity A
log show --last 10m --predicate subsystem == "app.kelo.helper"
kelo stand-down
log show --last 5m --predicate subsystem == "app.kelo.helper", 2 times
kelo status, 5 times
sudo leaks app.kelo.helper
kelo version
sudo launchctl print system/app.kelo.helper
ps -o cputime= -p PID
sudo powermetrics --samplers tasks -n 1 -i 600000
ps -o cputime= -p PID
kelo version, 20 times
kelo status, 20 times
kelo hold 60% --for 15m
sudo launchctl print system/app.kelo.helper
ps -o cputime= -p PID
sudo powermetrics --samplers tasks -n 1 -i 600000
ps -o cputime= -p PID
sudo launchctl print system/app.kelo.helper
sudo /bin/bash -c TIMEFORMAT=%3R; time { kill -TERM $0; while kill -0 $0 2>/dev/null; do :; done; } PID
EOT

# --- the figures are the open ones of docs/performance.md
figures() { sed -n "/^##*  *$2/,\$s/^| \(.*\) | $3 |\$/\1/p" "$1"; }
diff <(figures docs/performance.md 'On a Mac' open) <(figures "$report" 'For docs' '[-0-9].*') \
  || failure "the figures differ from those of docs/performance.md"
for row in 'processor time, idle | 0 ms in ten minutes' 'wake-ups, idle | 0 (not listed) per minute' \
  'processor time, holding | 90 ms in ten minutes' 'wake-ups, holding | 30.0 per minute'; do
  grep -qxF "| $row |" "$report" || failure "not reported: $row"
done
# at_least ROW MILLISECONDS
at_least() {
  local reported
  reported=$(sed -n "s/^| $1 | \([0-9]*\)\(\.[0-9]*\)\{0,1\} ms |\$/\1/p" "$report")
  [ "${reported:-0}" -ge "$2" ] || failure "$1 takes at least $2 ms, but ${reported:-nothing} is reported"
}
at_least 'SIGTERM to exit, holding' 30
at_least 'one snapshot' 100 # not 200 ms, because other work delays both commands
for ((i = 0; i < 500; i++)); do
  kill -0 "$(cat "$folder/holder")" 2>/dev/null || break
  "$real_sleep" 0.01
done
[ $i -lt 500 ] || failure "the hold does not end"

# --- the user declines and gives no other identities: the script does nothing without permission
confirm 1 "n n n n n" PROCESSOR=x86_64 -- --identity A
[ "$(verdicts)" = "2 FAILED,13 confirmed,7 left out," ] || failure "unexpected verdicts: $(verdicts)"
for call in 'pmset sleepnow' 'hand-back-on-lid-close' 'sudo installer' '--identity B' 'arch -x86_64'; do
  if grep -qF -- "$call" "$calls"; then failure "done without permission: $call"; fi
done
confirm 1 "" -- "${all[@]}" # no answers
if grep -qF 'pmset sleepnow' "$calls"; then failure "it puts the Mac to sleep without an answer"; fi

# --- a fault fails its row, and the other rows are still tried
costs="CPU time and wake-ups, while holding and while idle"
# fails ROW VARIABLE=VALUE...
fails() {
  local title=$1 answers="y y y y" verdicts="1 FAILED,20 confirmed,1 left out,"
  shift
  if [ "$title" = "$costs" ]; then answers="y y y y y" verdicts="1 FAILED,21 confirmed,"; fi
  confirm 1 "$answers" "$@" -- "${all[@]}"
  [ "$(verdict "$title")" = FAILED ] || failure "$title does not fail with $*"
  [ "$(verdicts)" = "$verdicts" ] || failure "rows other than $title fail with $*: $(verdicts)"
}
fails "the Swift package builds" 'FAULT=swift build*'
fails "the product has both processors, identifier, version, hardened runtime and time stamp" 'FAULT=lipo*' SAYS=arm64
fails "the requirement text parses, and the client satisfies it" 'FAULT=codesign --verify*'
fails "the helper serves a client of the same team" 'FAULT=kelo version' SAYS=5
fails "launchd accepts the job" 'FAULT=plutil*'
fails "any other client is disconnected before the delegate is asked" 'FAULT=log show*-67050*' SAYS=nothing
fails "the client rejects an impostor of the helper" 'FAULT=dev install --identity B'
[ "$(grep -A 1 -- 'install --identity B' "$calls" | tail -n 1)" = "dev install --identity A" ] \
  || failure "the genuine helper is not installed again"
fails "BOOL is passed between processors" 'FAULT=arch*'
fails "the lid state is read" 'FAULT=log show --last 2m*' SAYS=nothing
fails "the installer accepts the package, and its checks and scripts work" 'FAULT=sudo installer*'
fails "the installer accepts the package, and its checks and scripts work" OWNER_AFTERWARDS=root
fails "the reply to a stand-down is sent before the process exits" 'FAULT=kelo stand-down'
fails "messages are readable in the unified log" 'FAULT=log show --last 5m*' 'SAYS=app.kelo.helper <private>'
fails "messages are readable in the unified log" 'FAULT=log show --last 5m*' 'SAYS=nothing of the helper'
fails "no object is released too early or leaked" 'FAULT=sudo leaks*' 'SAYS=Process 1: 10 leaks'
fails "$costs" 'FAULT=sudo powermetrics*' 'SAYS=Name ID CPU ms/s'
fails "$costs" 'FAULT=ps*' SAYS=
if grep -q '^| ' "$report"; then failure "figures are reported after the helper has exited"; fi

# --- on other systems it does nothing
confirm 2 "" SYSTEM=Linux -- "${all[@]}"
confirm 2 "" --
[ ! -e "$calls" ] || failure "a program was called without an identity"
printf 'every row is confirmed\n'
