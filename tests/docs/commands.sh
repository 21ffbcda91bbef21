#!/usr/bin/env bash
# Runs every block of commands in the documents, in a separate installation for each document. The first line of a block
# says how it is tested:
#
#     ```sh             runs in an installation with a running simulated Mac and helper, and the programs in PATH
#     ```sh checkout    ./dev commands for the top of the repository; only their spelling is compared with ./dev help
#     ```sh mac         not run: needs a Mac
#     ```sh terminal    not run: needs a person at a terminal
#     ```sh release     not run: needs another release
#     ```sh build       not run: needs another build
#
# Also compares commands within sentences (`kelo …`) with the help of the programs. Also runs the Python client, which
# was written only from docs/protocol.md.
#
# usage: commands.sh HELPER KELO SIMMAC SIMSIGN: the programs, signed or unsigned.
# Run from the top of the repository.
# shellcheck disable=SC2016 # the backticks belong to Markdown
source testing/script.sh

top=$PWD
trap 'stop_installation; rm -rf "$folder"' EXIT
mac='' helper='' failed=0
interpreter=$(readlink -e /usr/bin/python3) || printf 'skipped: the Python client, since there is no /usr/bin/python3\n'
report() { printf '%s\n' "$*"; failed=1; }

documents() { find . \( -name '*build*' -o -name .git \) -prune -o -name '*.md' -print | sed 's|^\./||' | sort; }

# blocks FILE: writes each fenced block as NUMBER.block in $folder/blocks, and prints "NUMBER LINE INFO" for each.
blocks() {
  awk -v to="$folder/blocks" '
    /^ *```/ && !inside { inside = 1; info = $0; sub(/^ *```/, "", info); number++; file = to "/" number ".block"
                          printf "" >file; print number, FNR, info; next }
    /^ *```/ { inside = 0; close(file); next }
    inside { print >file }
    END { if (inside) print "open", FNR, "" }' "$1"
}

# --- installation

# Stores the keys in a separate folder, so that the commands of a document can create keys.
stage() {
  local program
  mkdir -p "$folder/staged/simulated-mac"
  chmod 700 "$folder/staged/simulated-mac"
  for program in "$@"; do cp "$program" "$folder/staged/"; done
  "$folder/staged/simsign" init "$folder/keys" --team TESTTEAM01 >/dev/null
  cp "$folder/keys/anchor.pub" "$folder/staged/simulated-mac/"
  sign app.kelo.helper app.kelo.helper
  sign kelo app.kelo.Kelo
  [ -z "$interpreter" ] || { cp "$interpreter" "$folder/staged/interpreter"; sign interpreter app.kelo.Kelo; }
}
sign() {
  "$folder/staged/simsign" sign "$folder/staged/$1" --identifier "$2" --team TESTTEAM01 --keys "$folder/keys" >/dev/null
}

start_installation() {
  rm -rf "$folder/installation"
  cp -a "$folder/staged" "$folder/installation"
  "$folder/installation/simmac" serve >"$folder/mac.log" 2>&1 &
  mac=$!
  wait_for "$folder/installation/simmac" show
  "$folder/installation/app.kelo.helper" 2>"$folder/helper.log" &
  helper=$!
  wait_for "$folder/installation/kelo" version
}
stop_installation() {
  local process
  for process in $helper $mac; do
    kill "$process" 2>/dev/null || true
    wait "$process" 2>/dev/null || true
  done
  mac='' helper=''
}
wait_for() {
  local tries
  for ((tries = 0; tries < 200; tries++)); do
    "$@" >/dev/null 2>&1 && return
    sleep 0.05
  done
  report "\"$*\" does not succeed within 10 seconds"
}

# run_block PLACE NUMBER: runs a block. Every command in it must succeed.
run_block() {
  [ -n "$mac" ] || start_installation
  (cd "$folder/installation" && PATH="$PWD:$PATH" timeout 60 bash -euo pipefail "$folder/blocks/$2.block") \
    >"$folder/output" 2>&1 </dev/null \
    || { report "$1: this block fails:"; cat "$folder/blocks/$2.block" "$folder/output"; }
  ran=$((ran + 1))
}

# The helper verifies the executable of a client, so a signed copy of the interpreter runs the Python client.
run_python_client() {
  start_installation
  (cd "$folder/installation" && PYTHONHOME=/usr timeout 60 ./interpreter -B "$top/tests/docs/foreign_client.py") \
    || report "the Python client fails"
  stop_installation
}

# --- spelling

# help_of PROGRAM COMMAND: prints the help of a command. A program that does not know the command prints its general
# help; then help_of prints nothing. ./dev has one help text with a section for each command.
help_of() {
  local said
  if [ "$1" = ./dev ]; then
    ./dev help | awk -v command="$2" '/^  [a-z]/ { inside = $1 == command } inside'
  else
    said=$("$folder/staged/$1" "$2" --help 2>/dev/null) || return 0
    [ "$said" = "$("$folder/staged/$1" --help)" ] || printf '%s' "$said"
  fi
}

# check_spelling PLACE COMMAND-LINE: checks that the program knows the command and its options.
check_spelling() {
  local program command said option
  read -r program command _ <<<"$2"
  [[ ${command-} =~ ^[a-z-]+$ ]] && [[ $command != -* ]] || return 0
  said=$(help_of "$program" "$command")
  [ -n "$said" ] || { report "$1: $program has no command \"$command\""; return; }
  while IFS= read -r option; do
    grep -qF -- "$option" <<<"$said" || report "$1: \"$program $command\" has no option $option"
  done < <(grep -oE -- '(^|[^-a-z])--[a-z][a-z-]*' <<<"${2%%-- *}" | grep -oE -- '--.*' || true)
}

check_spelling_of_block() {
  local line
  while IFS= read -r line; do
    case $line in ./dev\ *) check_spelling "$1" "$line" ;; esac
  done <"$folder/blocks/$2.block"
}

# Prints inline code outside blocks that begins with a command.
inline_commands() {
  awk '/^ *```/ { inside = !inside; next } !inside' "$1" | grep -oE '`(\./dev|kelo|simmac|simsign) [^`]+`' | tr -d '`' \
    | sort -u || true
}

# --- all documents

stage "$@"
mkdir "$folder/blocks"
ran=0 marked=0
while IFS= read -r document; do
  while read -r number line info; do
    place=$document:$line
    case $info in
      sh) run_block "$place" "$number" ;;
      'sh checkout') check_spelling_of_block "$place" "$number"; marked=$((marked + 1)) ;;
      'sh mac' | 'sh terminal' | 'sh release' | 'sh build') marked=$((marked + 1)) ;;
      text | json | cpp | objc | swift)
        ! grep -E '^(\./dev|kelo (status|watch|hold|version)|simmac|simsign|sudo|cmake|ninja) ' \
          "$folder/blocks/$number.block" \
          || report "$place: commands in a block that is not marked as commands" ;;
      *) report "$place: unknown kind of block: \"$info\"" ;;
    esac
  done < <(blocks "$document")
  while IFS= read -r command; do check_spelling "$document" "$command"; done < <(inline_commands "$document")
  stop_installation
done < <(documents)
cd "$top"
[ -z "$interpreter" ] || run_python_client
[ "$ran" -gt 0 ] || report "no block was run"
printf '%d blocks run, %d not run\n' "$ran" "$marked"
exit $failed
