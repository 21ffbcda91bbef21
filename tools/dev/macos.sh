# shellcheck shell=bash
# The macOS product: what ./dev test says about it, and installing it on a Mac. Sourced by ./dev.

# macos_summary PRESET: after a whole test run. None of either means that they were lost on the way.
macos_summary() {
  # Only Clang compiles Objective-C++ with blocks.
  [ "$(uname)" = Darwin ] || [[ $(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "build/$1/CMakeCache.txt") == *clang* ]] \
    || return 0
  local compiled ran where
  compiled=$(sed -n 's|^.*platform/macos: \([1-9][0-9]*\) sources compiled$|\1|p' "build/$1/tests.xml")
  ran=$(count_tests completed "build/$1/test-reports"/macos_*.xml)
  where="doubles of the system"
  [ "$(uname)" != Darwin ] || where="this Mac"
  [ -n "$compiled" ] || fail "no macOS source was compiled"
  [ "$ran" -gt 0 ] || fail "no macOS test ran"
  say "$compiled macOS sources compiled, $ran macOS tests ran on $where"
}

# --- installing

macos_helper=app.kelo.helper
macos_client=kelo
macos_client_identifier=app.kelo.Kelo
macos_helper_folder=/Library/PrivilegedHelperTools
macos_client_folder=/usr/local/bin
macos_plist_folder=/Library/LaunchDaemons

# run COMMAND...: says what it would run, or runs it.
run() {
  if $saying; then
    printf '   '
    printf ' %q' "$@"
    printf '\n'
  else
    "$@"
  fi
}

# run_as TEXT FUNCTION ARGUMENT...: the same for one of the functions below, which TEXT describes in one line.
run_as() {
  local text=$1
  shift
  if $saying; then printf '    %s\n' "$text"; else "$@"; fi
}

# say_and_do DRY-RUN STEPS: says every step first; then, unless it is a dry run, does them.
say_and_do() {
  local dry_run=$1 steps=$2 saying=true
  "$steps"
  $dry_run && return
  [ "$(uname)" = Darwin ] || fail "this needs a Mac; --dry-run shows what would be done there"
  saying=false
  "$steps"
}

command_install() {
  local identity='' dry_run=false
  while [ $# -gt 0 ]; do
    case $1 in
      --identity) [ $# -ge 2 ] || usage "--identity needs a name"; identity=$2; shift 2 ;;
      --identity=*) identity=${1#--identity=}; shift ;;
      --dry-run) dry_run=true; shift ;;
      *) usage "install does not know \"$1\"" ;;
    esac
  done
  [ -n "$identity" ] || usage "install needs --identity NAME, as \"security find-identity -v -p codesigning\" lists it"
  say_and_do "$dry_run" install_steps
}

command_uninstall() {
  local dry_run=false
  while [ $# -gt 0 ]; do
    case $1 in
      --dry-run) dry_run=true; shift ;;
      *) usage "uninstall does not know \"$1\"" ;;
    esac
  done
  say_and_do "$dry_run" uninstall_steps
}

install_steps() {
  say "build for both processors"
  run_as "(install missing build dependencies with Homebrew)" ensure_brew_packages
  run cmake --preset product
  run cmake --build --preset product
  say "sign both with their identifiers, the hardened runtime and a time stamp"
  sign "$macos_helper" "$macos_helper"
  sign "$macos_client_identifier" "$macos_client"
  say "install as root's, which nobody else may write; a new file each, put in place by renaming, so that a helper that"
  say "runs sees itself replaced, hands the fan back and leaves"
  run sudo mkdir -p "$macos_helper_folder" "$macos_client_folder"
  run_as "(stop unless $macos_helper_folder is root's and nobody else may write it)" \
    refuse_writable_folder "$macos_helper_folder"
  put 755 "build/product/$macos_helper" "$macos_helper_folder/$macos_helper"
  put 755 "build/product/$macos_client" "$macos_client_folder/$macos_client"
  put 644 "packaging/macos/$macos_helper.plist" "$macos_plist_folder/$macos_helper.plist"
  say "have launchd reload it"
  run sudo launchctl enable "system/$macos_helper"
  run_as "sudo launchctl bootout system/$macos_helper   (if it is loaded)" boot_out
  run_as "sudo launchctl bootstrap system $macos_plist_folder/$macos_helper.plist   (once the former one has left)" \
    bootstrap
}

uninstall_steps() {
  say "have launchd stop the helper, which hands the fan back, and forget it"
  run_as "sudo launchctl bootout system/$macos_helper   (if it is loaded)" boot_out
  say "remove what was installed"
  run sudo rm -f "$macos_plist_folder/$macos_helper.plist" "$macos_helper_folder/$macos_helper" \
    "$macos_client_folder/$macos_client"
}

# sign IDENTIFIER FILE
sign() {
  run lipo "build/product/$2" -verify_arch arm64 x86_64
  run codesign --force --timestamp --options runtime --identifier "$1" --sign "$identity" "build/product/$2"
  run codesign --verify --strict "build/product/$2"
}

# put MODE SOURCE PLACE
put() {
  local new
  new="$(dirname "$3")/.$(basename "$3").new"
  run sudo install -o root -g wheel -m "$1" "$2" "$new"
  run sudo mv -f "$new" "$3"
}

# Whoever may write the folder may put another helper in place.
refuse_writable_folder() {
  [ -z "$(find "$1" -maxdepth 0 \( ! -user root -o -perm -020 -o -perm -002 \))" ] \
    || fail "$1 is not root's alone: somebody else could replace the helper"
}

# It is fine if it is not loaded.
boot_out() {
  sudo launchctl bootout "system/$macos_helper" 2>/dev/null || true
}

# launchd refuses while the former job is still leaving, which takes as long as handing the fans back.
bootstrap() {
  local plist="$macos_plist_folder/$macos_helper.plist" left=60
  until sudo launchctl bootstrap system "$plist" 2>/dev/null; do
    left=$((left - 1))
    if [ $left -eq 0 ]; then
      sudo launchctl bootstrap system "$plist"
      return
    fi
    sleep 1
  done
}
