# shellcheck shell=bash
# Creates and runs installations on a simulated Mac. Sourced by ./dev.

stage_programs=(app.kelo.helper kelo simmac simsign)
stage_team=KELODEV001

# stage_into DIR: builds optimised programs and creates a signed installation.
stage_into() {
  build_programs tools "${stage_programs[@]}" rehearse
  lay_out "$1" tools
}

# lay_out DIR PRESET: creates a signed installation of the programs of a preset.
lay_out() {
  local folder=$1 preset=$2 program
  mkdir -p "$folder/simulated-mac"
  chmod 700 "$folder/simulated-mac" # the helper refuses a simulated Mac that other users can access
  for program in "${stage_programs[@]}"; do
    # Copies, then renames: a running program cannot be overwritten, and a running helper must notice its replacement.
    cp "$(built "$preset" "$program")" "$folder/$program.new"
    mv -f "$folder/$program.new" "$folder/$program"
  done
  cp THIRD_PARTY_NOTICES.md "$folder/" # the programs contain third-party code
  [ -e "$folder/keys/anchor.pub" ] || "$folder/simsign" init "$folder/keys" --team "$stage_team" >/dev/null
  cp "$folder/keys/anchor.pub" "$folder/simulated-mac/anchor.pub"
  stage_sign "$folder" app.kelo.helper app.kelo.helper
  stage_sign "$folder" kelo app.kelo.Kelo
}

stage_sign() {
  "$1/simsign" sign "$1/$2" --identifier "$3" --team "$stage_team" --keys "$1/keys" >/dev/null
}

# built PRESET PROGRAM: prints the path of a built program. Chooses the newest file, because a target that has moved to
# another folder leaves an old file.
built() {
  find "build/$1" -type f -name "$2" -perm -u+x -not -path '*/CMakeFiles/*' -exec ls -t {} + | head -n 1
}

command_stage() {
  local folder='' profile=laptop
  while [ $# -gt 0 ]; do
    case $1 in
      --profile) [ $# -ge 2 ] || usage "--profile needs a name"; profile=$2; shift 2 ;;
      --profile=*) profile=${1#--profile=}; shift ;;
      -*) usage "unknown argument \"$1\" for stage" ;;
      *) [ -z "$folder" ] || usage "stage takes one folder"; folder=$1; shift ;;
    esac
  done
  [ -n "$folder" ] || usage "stage needs a folder"
  require_linux
  ensure_packages build
  stage_into "$folder"
  cat <<EOF

Staged in $folder. To try it, run each command in a separate terminal:

  $folder/simmac serve --profile $profile
  $folder/app.kelo.helper
  $folder/kelo status

EOF
}

command_run() {
  local stays=false profile=laptop speed=1
  while [ $# -gt 0 ]; do
    case $1 in
      --stay) stays=true; shift ;;
      --profile) [ $# -ge 2 ] || usage "--profile needs a name"; profile=$2; shift 2 ;;
      --profile=*) profile=${1#--profile=}; shift ;;
      --speed) is_speed "${2-}" || usage "--speed needs a number"; speed=$2; shift 2 ;;
      --speed=*) is_speed "${1#*=}" || usage "--speed needs a number"; speed=${1#*=}; shift ;;
      *) usage "unknown argument \"$1\" for run" ;;
    esac
  done
  require_linux
  ensure_packages build
  local folder=build/run
  build_programs debug "${stage_programs[@]}" rehearse
  lay_out "$folder" debug
  if $stays; then stay "$folder" --profile "$profile" --speed "$speed"; else rehearse "$folder" "$profile" "$speed"; fi
}

is_speed() { [[ $1 =~ ^[0-9]+(\.[0-9]+)?$ ]]; }

# rehearse FOLDER PROFILE SPEED
rehearse() {
  say "playing a session of about a minute"
  "$(built debug rehearse)" "$1" --profile "$2" --speed "$3" --pictures "$1"
}

# Redraws the pictures in the documents, and records the data in floor.json and hour.json again. Records the session
# only with --record, because that takes a minute and each recording differs. Does not write delays.json (use ./dev
# prove kill N --data FILE), performance.json (use ./dev bench --record) or architecture.json (edit it directly).
command_docs() {
  local records=false folder=docs/pictures kind pictures
  while [ $# -gt 0 ]; do
    case $1 in
      --record) records=true; shift ;;
      *) usage "unknown argument \"$1\" for docs" ;;
    esac
  done
  require_linux
  ensure_packages build
  if $records; then
    build_programs debug "${stage_programs[@]}" rehearse
    lay_out build/run debug
    rehearse build/run laptop 1
    cp build/run/session.json build/run/watch.json "$folder/"
  fi
  build_programs debug pictures
  pictures=$(built debug pictures)
  for kind in floor hour; do "$pictures" record "$kind" "$folder/$kind.json"; done
  for kind in session watch floor hour delays architecture performance; do
    "$pictures" draw "$folder/$kind.json" "$folder/$kind.svg"
    say "drawn: $folder/$kind.svg"
  done
}

# stay FOLDER [OPTION-OF-THE-MAC...]: runs the simulated Mac and the helper until Ctrl-C, or until the helper exits.
stay() {
  local folder=$1 mac='' helper=''
  shift
  if "$folder/simmac" show >/dev/null 2>&1; then fail "a simulated Mac is already running in $folder"; fi
  # Ctrl-C sends SIGINT to the script's whole process group. Separate sessions let the script stop both processes in the
  # right order.
  trap 'end_stay' INT TERM HUP
  setsid "$folder/simmac" serve "$@" &
  mac=$!
  until "$folder/simmac" show >/dev/null 2>&1; do
    kill -0 "$mac" 2>/dev/null || fail "the simulated Mac does not start"
    sleep 0.1
  done
  setsid "$folder/app.kelo.helper" &
  helper=$!
  cat <<EOF

The simulated Mac and the helper are running; Ctrl-C stops both. Try these commands in another terminal:

  $folder/kelo status                shows the fans
  $folder/kelo hold 50%              holds the fans until Ctrl-C
  $folder/kelo watch                 shows the fans until Ctrl-C
  $folder/kelo doctor                checks that everything works
  $folder/simmac show                shows the hardware state
  $folder/simmac load 1              puts the chip under full load; try it with a hold at 20%
  $folder/simmac interfere 0 auto    changes a fan as another program might
  $folder/simmac lid close           affects a hold with --hand-back-on-lid-close
  $folder/simmac sleep               sleeps until: simmac wake
  $folder/simmac --help              lists faults, temperatures and other commands

The helper's own log lines appear below.

EOF
  wait "$helper" || true # end_stay reads its status
  end_stay
}

# Stops the helper first, so that it can hand the fan back while the Mac is still running. Uses the variables of `stay`,
# and exits with the helper's status.
end_stay() {
  local status=0
  trap '' INT TERM HUP
  if [ -n "$helper" ]; then
    kill "$helper" 2>/dev/null || true
    wait "$helper" || status=$?
  fi
  if [ -n "$mac" ]; then
    kill "$mac" 2>/dev/null || true
    wait "$mac" || true
  fi
  exit "$status"
}

require_linux() {
  [ "$(uname -s)" = Linux ] || fail "the simulated Mac runs on Linux; on a Mac use ./dev install"
}
