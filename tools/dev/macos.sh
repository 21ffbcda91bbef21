# shellcheck shell=bash
# Prints the macOS summary of ./dev test, and installs the product on a Mac. Sourced by ./dev.

# macos_summary PRESET: prints the number of macOS sources and tests after a complete test run; fails if there are none.
macos_summary() {
  # Only Clang compiles Objective-C++ with blocks.
  [ "$(uname)" = Darwin ] || [[ $(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "build/$1/CMakeCache.txt") == *clang* ]] \
    || return 0
  local compiled ran where
  compiled=$(sed -n 's|^.*platform/macos: \([1-9][0-9]*\) sources compiled$|\1|p' "build/$1/tests.xml")
  ran=$(count_tests completed "build/$1/test-reports"/macos_*.xml)
  where="stand-ins for the system"
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
macos_plist_folder=/Library/LaunchDaemons
macos_other_prefix=/opt/kelo # for the client if users other than root may write to /usr/local

# Programs that run as root are called by absolute path, because another user's folder may come first in PATH. The tests
# set KELO_MACOS_SYSTEM to a folder with stand-ins for these programs.
macos_system=${KELO_MACOS_SYSTEM-}
macos_sudo=$macos_system/usr/bin/sudo

# run COMMAND...: runs the command; in a dry run only prints it.
run() {
  if $saying; then
    printf '   '
    printf ' %q' "$@"
    printf '\n'
  else
    "$@"
  fi
}

# run_as TEXT FUNCTION ARGUMENT...: runs one of the functions below; in a dry run only prints TEXT, which describes the
# function.
run_as() {
  local text=$1
  shift
  if $saying; then printf '    %s\n' "$text"; else "$@"; fi
}

# say_and_do DRY-RUN STEPS: prints all steps, and then runs them unless DRY-RUN is true.
say_and_do() {
  local dry_run=$1 steps=$2 saying=true
  "$steps"
  $dry_run && return
  [ "$(uname)" = Darwin ] || fail "this needs a Mac; --dry-run prints the steps"
  saying=false
  "$steps"
}

command_install() {
  local identity='' dry_run=false prefix
  while [ $# -gt 0 ]; do
    case $1 in
      --identity) [ $# -ge 2 ] || usage "--identity needs a name"; identity=$2; shift 2 ;;
      --identity=*) identity=${1#--identity=}; shift ;;
      --dry-run) dry_run=true; shift ;;
      *) usage "unknown argument \"$1\" for install" ;;
    esac
  done
  [ -n "$identity" ] || usage "install needs --identity NAME, as \"security find-identity -v -p codesigning\" lists it"
  umask 022 # lets all users read the created files
  prefix=$(client_prefix)
  say_and_do "$dry_run" install_steps
}

command_uninstall() {
  local dry_run=false
  while [ $# -gt 0 ]; do
    case $1 in
      --dry-run) dry_run=true; shift ;;
      *) usage "unknown argument \"$1\" for uninstall" ;;
    esac
  done
  say_and_do "$dry_run" uninstall_steps
}

# payload PREFIX: prints mode, source and destination of each installed file; the client's files go below PREFIX.
payload() {
  cat <<EOF
755 build/product/$macos_helper $macos_helper_folder/$macos_helper
755 build/product/$macos_client $1/bin/$macos_client
644 packaging/man/kelo.1 $1/share/man/man1/kelo.1
644 packaging/man/app.kelo.helper.8 $1/share/man/man8/app.kelo.helper.8
644 build/product/completions/bash $1/share/bash-completion/completions/kelo
644 build/product/completions/zsh $1/share/zsh/site-functions/_kelo
644 build/product/completions/fish $1/share/fish/vendor_completions.d/kelo.fish
644 THIRD_PARTY_NOTICES.md $1/share/doc/kelo/THIRD_PARTY_NOTICES.md
644 packaging/macos/$macos_helper.plist $macos_plist_folder/$macos_helper.plist
EOF
}

build_and_sign() {
  local shell
  say "build for both processors"
  run_as "(install missing build dependencies with Homebrew)" ensure_brew_packages
  run cmake --preset product
  run cmake --build --preset product
  run mkdir -p build/product/completions
  for shell in bash zsh fish; do
    run_as "build/product/$macos_client completions $shell >build/product/completions/$shell" make_completions "$shell"
  done
  say "sign both with their identifiers, the hardened runtime and a time stamp"
  sign "$macos_helper" "$macos_helper"
  sign "$macos_client_identifier" "$macos_client"
}

make_completions() { "build/product/$macos_client" completions "$1" >"build/product/completions/$1"; }

install_steps() {
  local mode source place
  build_and_sign
  say "install files that belong to root and that no other user may write; rename each into place, so that a running"
  say "helper notices the replacement, hands the fan back and exits"
  run "$macos_sudo" /bin/mkdir -p "$macos_helper_folder" "$macos_plist_folder"
  run_as "(stop unless only root may write to /Library, $macos_helper_folder and $macos_plist_folder)" \
    refuse_folders_of_others / /Library "$macos_helper_folder" "$macos_plist_folder"
  while read -r mode source place <&3; do put "$mode" "$source" "$place"; done 3< <(payload "$prefix")
  say "make launchd reload the job"
  run "$macos_sudo" /bin/launchctl enable "system/$macos_helper"
  run_as "$macos_sudo /bin/launchctl bootout system/$macos_helper   (if it is loaded)" boot_out
  run_as "$macos_sudo /bin/launchctl bootstrap system $macos_plist_folder/$macos_helper.plist   (once the old helper has exited)" \
    bootstrap
  say "the client is $prefix/bin/$macos_client"
  [ "$prefix" = /usr/local ] \
    || say "it is not in /usr/local, where another user could replace it. Add $prefix/bin to your path"
}

uninstall_steps() {
  local place
  say "make launchd stop the helper, which hands the fan back, and unload the job"
  run_as "$macos_sudo /bin/launchctl bootout system/$macos_helper   (if it is loaded)" boot_out
  say "remove the installed files"
  while read -r _ _ place <&3; do run "$macos_sudo" /bin/rm -f "$place"; done \
    3< <(payload /usr/local && payload "$macos_other_prefix" | grep -F " $macos_other_prefix/")
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
  run "$macos_sudo" /bin/mkdir -p "$(dirname "$3")"
  run "$macos_sudo" /usr/bin/install -o root -g wheel -m "$1" "$2" "$new"
  case $2 in
    "build/product/$macos_helper") verify "$new" "$macos_helper" ;;
    "build/product/$macos_client") verify "$new" "$macos_client_identifier" ;;
  esac
  run "$macos_sudo" /bin/mv -f "$new" "$3"
}

# verify COPY IDENTIFIER: verifies the copy that root owns, because the built file may have been replaced since it was
# signed.
verify() {
  local requirement="anchor apple generic and identifier \"$2\""
  run "$macos_sudo" /usr/bin/codesign --verify --strict "-R=$requirement" "$1" || fail "$1 is not the signed program"
  run_as "(stop unless $1 has the hardened runtime and lacks get-task-allow)" refuse_open_to_debuggers "$1"
}

# Fails if a debugger may attach to the program: another process of the same user could then take control of it.
refuse_open_to_debuggers() {
  local signature entitlements
  signature=$("$macos_sudo" /usr/bin/codesign -dvv "$1" 2>&1)
  grep -qE 'flags=[^ ]*[(,]runtime' <<<"$signature" || fail "$1 is signed without the hardened runtime"
  entitlements=$("$macos_sudo" /usr/bin/codesign -d --entitlements - --xml "$1" 2>/dev/null)
  ! grep -qF get-task-allow <<<"$entitlements" || fail "$1 allows debugging: it has the entitlement get-task-allow"
}

# Fails if a user other than root may write to one of the folders, because that user could replace the helper.
refuse_folders_of_others() {
  local folder
  for folder in "$@"; do
    ! is_open_to_others "$folder" || fail "another user may write to $folder and could replace the helper"
  done
}

# Returns whether the folder's owner, mode or access control list allows a user other than root to write to it.
is_open_to_others() {
  local found list
  found=$("$macos_system/usr/bin/find" "$1/." -maxdepth 0 \( ! -user root -o -perm -020 -o -perm -002 \)) || return 0
  list=$("$macos_system/bin/ls" -lde "$1/.") || return 0
  [ -n "$found" ] || grep -q '^ [0-9]*:.* allow ' <<<"$list"
}

# Prints the folder for the client. With Homebrew, /usr/local may belong to a user, who could then replace programs that
# root runs.
client_prefix() {
  local folder
  if [ "$(uname)" = Darwin ]; then
    for folder in /usr/local /usr/local/bin /usr/local/share; do
      [ -e "$macos_system$folder" ] || continue # the installation creates it, owned by root
      if is_open_to_others "$folder"; then printf '%s' "$macos_other_prefix"; return; fi
    done
  fi
  printf /usr/local
}

# Makes launchd stop the helper and unload its job. Succeeds even if the job is not loaded.
boot_out() {
  "$macos_sudo" /bin/launchctl bootout "system/$macos_helper" 2>/dev/null || true
}

# Retries, because launchd refuses to load the job while the old helper is still handing the fans back and exiting.
bootstrap() {
  local plist="$macos_plist_folder/$macos_helper.plist" left=60
  until "$macos_sudo" /bin/launchctl bootstrap system "$plist" 2>/dev/null; do
    left=$((left - 1))
    if [ $left -eq 0 ]; then
      "$macos_sudo" /bin/launchctl bootstrap system "$plist"
      return
    fi
    sleep 1
  done
}
