#!/usr/bin/env bash
# Confirms on a Mac the behaviour that other tests only simulate: each row of the table at the end of docs/macos.md, in
# order. Asks before it puts the Mac to sleep, and whenever a person must do or check something. Installs the helper,
# and writes a report for an issue. If a row fails, continues with the next.
#
# usage: confirm-on-a-mac.sh --identity NAME [--other-identity NAME] [--installer-identity NAME] [--report FILE]
#   --identity            signs helper and client
#   --other-identity      belongs to another team and signs an impostor; without it two rows are skipped or incomplete
#   --installer-identity  signs the installer package; without it the row for the package is skipped
# shellcheck disable=SC2016 # the grave accents are Markdown's
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
# shellcheck source=tools/dev/confirm-cost.sh
source tools/dev/confirm-cost.sh

fail() { printf 'confirm-on-a-mac: %s\n' "$*" >&2; exit 2; }

identity='' other_identity='' installer_identity='' report=build/confirmed-on-a-mac.md
while [ $# -gt 0 ]; do
  [ $# -ge 2 ] || fail "$1 needs a value"
  case $1 in
    --identity) identity=$2 ;;
    --other-identity) other_identity=$2 ;;
    --installer-identity) installer_identity=$2 ;;
    --report) report=$2 ;;
    *) fail "unknown option \"$1\"" ;;
  esac
  shift 2
done
[ -n "$identity" ] || fail "--identity NAME is needed, as \"security find-identity -v -p codesigning\" lists it"
[ "$(uname)" = Darwin ] || fail "this needs a Mac"

PATH=$PATH:/usr/local/bin:/opt/kelo/bin # where ./dev install puts kelo
job=system/app.kelo.helper
helper=build/product/app.kelo.helper
subsystem='subsystem == "app.kelo.helper"'
scratch=$(mktemp -d "${TMPDIR:-/tmp}/kelo.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

# --- helper functions of the rows

left_out=3 # exit status of a row that was skipped

leave_out() { printf 'left out: %s\n' "$*"; exit $left_out; }

# ask QUESTION: asks on the terminal, while the output goes to the report. Succeeds if the answer is y.
ask() {
  local answer=''
  printf '    %s [y/n] ' "$1" >&3
  read -r answer <&4 || true
  printf '%s %s\n' "$1" "${answer:-no answer}"
  [ "$answer" = y ]
}

# try COMMAND...: prints the command and runs it.
try() {
  printf '$ %s\n' "$*"
  "$@" 2>&1
}

# try_refused COMMAND...: prints the command and runs it; it must fail.
try_refused() {
  if try "$@"; then printf 'it should have failed\n'; return 1; fi
}

# try_for PATTERN COMMAND...: prints the command and runs it; it must succeed, and its output must match.
try_for() {
  local pattern=$1 output status=0
  shift
  output=$("$@" 2>&1) || status=$?
  printf '$ %s\n%s\n' "$*" "$output"
  [ $status -eq 0 ] || { printf 'exit status %d\n' $status; return 1; }
  grep -qE -- "$pattern" <<<"$output" || { printf 'no line matches: %s\n' "$pattern"; return 1; }
}

# hold_meanwhile ARGUMENT...: holds the fans in the background, at most until the end of the row.
hold_meanwhile() {
  printf '$ kelo hold %s &\n' "$*"
  kelo hold "$@" &
  holding=$!
  trap 'kill $holding 2>/dev/null && kill -CONT $holding 2>/dev/null || true' EXIT
  sleep 5
}

# log_of TIME PREDICATE: prints the log without its headings, which repeat the predicate.
log_of() { log show --last "$1" --predicate "$2" | sed -E '/^(Filtering|Skipping|Timestamp) /d'; }
state() { sudo launchctl print $job; }

# row TITLE FUNCTION: runs the function in a subshell that exits at the first failing command.
row() {
  local status=0 verdict output=$scratch/output
  printf '%s\n' "$1"
  set +e
  (set -e; "$2") >"$output" 2>&1 </dev/null
  status=$?
  set -e
  case $status in
    0) verdict=confirmed ;;
    "$left_out") verdict='left out' ;;
    *) verdict=FAILED failures=$((failures + 1)) ;;
  esac
  printf '    %s\n' "$verdict"
  printf '\n## %s\n\n%s\n\n```text\n%s\n```\n' "$1" "$verdict" "$(cat "$output")" >>"$report"
}

# --- the rows

compiles() { try ./dev test; }
swift_package() { try swift build --package-path samples/KeloClient --scratch-path build/swift; }
loop() { try ./dev test -- -R '^macos_'; }

# run_without_team VARIABLE=VALUE...: starts a helper without a team, and stops it.
run_without_team() {
  local process status=0
  env "$@" "$scratch/app.kelo.helper" &
  process=$!
  sleep 3
  kill -TERM $process
  wait $process || status=$?
  printf 'exit status %d\n' $status
  return $status
}
without_team() {
  try cmake --preset product
  try cmake --build --preset product
  try cp $helper "$scratch/app.kelo.helper"
  try codesign --force --sign - "$scratch/app.kelo.helper"
  try_for "isn't signed" run_without_team
}

product() {
  try ./dev install --identity "$identity"
  try_for 'x86_64.*arm64|arm64.*x86_64' lipo -archs $helper
  try_for 'flags=[^ ]*runtime' codesign -dv --verbose=4 $helper
  try_for '^Identifier=app.kelo.helper$' codesign -dv --verbose=4 $helper
  try_for '^Timestamp=' codesign -dv --verbose=4 $helper
  try_for 'CFBundleVersion' otool -s __TEXT __info_plist -v $helper
}

team() { codesign -dvv "$1" 2>&1 | sed -n 's/^TeamIdentifier=//p'; }
requirement() {
  local text
  text="anchor apple generic and identifier \"app.kelo.Kelo\" and certificate leaf[subject.OU] = \"$(team $helper)\""
  try codesign --verify "-R=$text" "$(command -v kelo)"
}

job_taken() {
  try plutil -lint packaging/macos/app.kelo.helper.plist
  try_for 'app.kelo.helper' state
}

served() {
  try_for '(^|[^0-9])6([^0-9]|$)' kelo version
  try kelo status
}

other_client() {
  try cp "$(command -v kelo)" "$scratch/kelo"
  try codesign --force --sign - --identifier app.kelo.Kelo "$scratch/kelo"
  try_refused "$scratch/kelo" status
  [ -n "$other_identity" ] || leave_out "the client of another team needs --other-identity"
  try codesign --force --options runtime --identifier app.kelo.Kelo --sign "$other_identity" "$scratch/kelo"
  try_refused "$scratch/kelo" status
  try_for '-67050' log_of 1m 'eventMessage CONTAINS "-67050"'
}

# Installs a helper of another team, and always reinstalls the genuine one.
impostor() {
  local failed=0
  [ -n "$other_identity" ] || leave_out "it needs --other-identity"
  try cp "$(command -v kelo)" "$scratch/kelo"
  { try ./dev install --identity "$other_identity" && try_refused "$scratch/kelo" status; } || failed=1
  try ./dev install --identity "$identity"
  return $failed
}

bool_crosses() {
  [ "$(uname -m)" = arm64 ] || leave_out "only a Mac with an Apple chip runs programs of both processors"
  try arch -x86_64 "$(command -v kelo)" hold 0.5 --for 3s
}

controller() {
  try kelo status
  ask "Do the speeds and the temperature above match this Mac? $(kelo status | tr '\n' ' ')"
}

hold_moves() {
  try kelo status
  hold_meanwhile 60% --for 20s
  sleep 10
  try kelo status
  wait "$holding"
  sleep 10
  try kelo status
  ask "Did the fans change their speed, and then return to normal?"
}

sleeps() {
  ask "Save your work: the Mac is put to sleep now; wake it after half a minute. Continue?" || leave_out "declined"
  hold_meanwhile 60% --for 5m
  try pmset sleepnow
  sleep 60 # counts only the time while the Mac is awake
  try_for 'hold: sleeping' log_of 10m "$subsystem"
  try_for 'hold: woke' log_of 10m "$subsystem"
  printf 'delays of sleep; none should be from app.kelo:\n'
  pmset -g log | grep -i 'app.kelo\|delay' | tail -n 20 || true
}

lid() {
  try_for 'AppleClamshellState' ioreg -r -k AppleClamshellState -d 1 || leave_out "this Mac has no lid"
  ask "Connect an external display and power, and be ready to close the lid for 20 seconds. Begin?" \
    || leave_out "declined"
  hold_meanwhile 60% --hand-back-on-lid-close --for 30s
  sleep 30
  try_for 'hold: yielded' log_of 2m "$subsystem"
}

comes_back() {
  try sudo launchctl kill SIGKILL $job
  sleep 12
  try_for 'state = running' state
  try sudo launchctl kill SIGTERM $job
  sleep 12
  try_for 'state = not running' state
  try kelo version
}

# Prints owner and mode of folders that other software also uses. Homebrew fails if an installer changes their owner to
# root.
shared_folders() { stat -f '%N %Su:%Sg %Sp' /usr/local /usr/local/bin /usr/local/share 2>/dev/null | sort; }

package() {
  local file folders changed
  [ -n "$installer_identity" ] || leave_out "it needs --installer-identity"
  try ./dev package --identity "$identity" --installer-identity "$installer_identity"
  file=$(find build/package -name 'kelo-helper-*.pkg')
  folders=$(shared_folders) || true # a folder may be missing
  try sudo installer -pkg "$file" -target / -verboseR
  changed=$(comm -23 <(printf '%s\n' "$folders") <(shared_folders))
  [ -z "$changed" ] || { printf 'the installer changed:\n%s\n' "$changed"; return 1; }
  try kelo status
  try sudo /Library/PrivilegedHelperTools/app.kelo.helper.uninstall
  try ./dev install --identity "$identity"
}

update() {
  hold_meanwhile 60% --for 5m
  try ./dev install --identity "$identity"
  try_for 'Our binary was (deleted or moved|replaced on disk)' log_of 10m "$subsystem"
}

stands_down() { try kelo stand-down; }

readable() {
  try_for 'app.kelo.helper' log_of 5m "$subsystem"
  if log_of 5m "$subsystem" | grep -F '<private>'; then return 1; fi
}

objects() {
  try_for "isn't signed" run_without_team MallocScribble=1 NSZombieEnabled=YES
  for _ in 1 2 3 4 5; do try kelo status; done
  try_for ' 0 leaks' sudo leaks app.kelo.helper
}

# --- all rows

mkdir -p "$(dirname "$report")"
exec 3>&1 4<&0 # lets a row ask questions while its output goes to the report
failures=0
{
  printf '# Confirmed on a Mac\n\n```text\n'
  printf '%s\n' "$(sw_vers)" "$(sysctl -n hw.model)" "$(uname -m)" "$(clang --version | head -n 1)" \
    "commit $(git rev-parse HEAD)"
  printf '```\n'
} >"$report"

row "Apple's compiler and linker accept every file; the constants, types and symbols in its headers and libraries match our declarations and lists" compiles
row "the Swift package builds" swift_package
row "main queue, timers, signals and file watch work" loop
row "the helper starts without a team, trusts no client, and exits with status 0" without_team
row "the product has both processors, identifier, version, hardened runtime and time stamp" product
row "the requirement text parses, and the client satisfies it" requirement
row "launchd accepts the job" job_taken
row "the helper serves a client of the same team" served
row "any other client is disconnected before the delegate is asked" other_client
row "the client rejects an impostor of the helper" impostor
row "BOOL is passed between processors" bool_crosses
row "the SMC's user client answers selector 2 with 80 bytes" controller
row "a hold changes the fan speed, and a hand-back ends that" hold_moves
row "the fans are handed back before sleep, and sleep is not delayed" sleeps
row "the lid state is read" lid
row "launchd restarts the helper after a crash, not after a clean exit" comes_back
row "the installer accepts the package, and its checks and scripts work" package
row "an update makes the running helper exit" update
row "the reply to a stand-down is sent before the process exits" stands_down
row "messages are readable in the unified log" readable
row "no object is released too early or leaked" objects
row "CPU time and wake-ups, while holding and while idle" cost
[ ! -e "$scratch/figures" ] \
  || printf '\n### For docs/performance.md\n\n| figure | on this Mac |\n|---|---|\n%s\n' "$(cat "$scratch/figures")" >>"$report"
printf '\n%d rows failed; the report is %s. The helper stays installed; ./dev uninstall removes it.\n' $failures "$report"
[ $failures -eq 0 ]
