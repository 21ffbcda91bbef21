#!/usr/bin/env bash
# Tries the README's two commands on a minimal system with nothing installed. Creates this system in a temporary folder,
# clones the checkout into it, runs ./dev test and ./dev run there, and prints the duration of each.
#
# usage: try-bare.sh [debian12|debian13|ubuntu24.04] [user|container|root] [COMMAND...]
#
# user       an ordinary user who may use sudo
# container  root with the capabilities that a container engine grants by default
# root       root in a plain chroot
#
# The COMMANDs, if any, replace the README's two commands: './dev run' tries only that one. Needs root and debootstrap.
# KELO_MIRROR replaces debootstrap's default mirror.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

fail() { printf 'try-bare: %s\n' "$*" >&2; exit 1; }

system=${1-debian12} kind=${2-user}
commands=("${@:3}")
[ ${#commands[@]} -gt 0 ] || commands=('./dev test' './dev run')
case $kind in user | container | root) ;; *) fail "unknown kind \"$kind\": use user, container or root" ;; esac
command -v debootstrap >/dev/null || fail "needs debootstrap"
[ "$(id -u)" -eq 0 ] || fail "needs root for debootstrap"

folder=$(mktemp -d "${TMPDIR:-/tmp}/kelo.XXXXXX")
root=$folder/root
trap 'rm -rf --one-file-system "$folder"' EXIT
mkdir "$root"

# Creates the minimal system. An old debootstrap may not know a new distribution, so this uses the script of an older
# distribution.
make_system() {
  local scripts=/usr/share/debootstrap/scripts packages=ca-certificates mirror=()
  [ -z "${KELO_MIRROR-}" ] || mirror=("$KELO_MIRROR")
  [ "$kind" != user ] || packages+=,sudo
  case $system in
    debian12) set -- --include="$packages" bookworm "$root" "${mirror[@]}" ;;
    debian13) set -- --include="$packages" trixie "$root" "${mirror[@]}" ;;
    ubuntu24.04)
      [ ${#mirror[@]} -gt 0 ] \
        || mirror=("$(grep default_mirror "$scripts/gutsy" | grep -vE 'old-releases|ports' | awk '{ print $2; exit }')")
      set -- --include="$packages" --components=main,universe noble "$root" "${mirror[@]}" gutsy ;;
    *) fail "unknown system \"$system\": use debian12, debian13 or ubuntu24.04" ;;
  esac
  debootstrap --variant=minbase "$@" >"$folder/log" 2>&1 || { tail -n 20 "$folder/log" >&2; fail "debootstrap failed"; }
  cp /etc/resolv.conf "$root/etc/resolv.conf"
}

clone_checkout() {
  home=$root/root
  if [ "$kind" = user ]; then
    chroot "$root" useradd --create-home --shell /bin/bash newcomer
    printf 'newcomer ALL=(ALL) NOPASSWD: ALL\n' >"$root/etc/sudoers.d/newcomer"
    home=$root/home/newcomer
  fi
  git clone --quiet --no-local . "$home/kelo"
  [ "$kind" != user ] || chroot "$root" chown -R newcomer: /home/newcomer/kelo
}

# run_inside COMMAND: runs the command as the user that $kind selects, with /proc and /dev, in separate process and
# mount namespaces.
run_inside() {
  # shellcheck disable=SC2016 # the inner shell expands the variables
  unshare --mount --pid --fork --kill-child bash -euc '
    root=$1 kind=$2 command=$3
    [ "$kind" != container ] || mount --bind "$root" "$root" # in a container, / is a mount point
    mount -t proc proc "$root/proc"
    mount -t tmpfs -o mode=755 dev "$root/dev"
    for device in null zero full random urandom tty; do
      : >"$root/dev/$device"
      mount --bind "/dev/$device" "$root/dev/$device"
    done
    mkdir "$root/dev/pts" "$root/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts"
    mount -t tmpfs -o mode=1777 shm "$root/dev/shm"
    ln -s pts/ptmx "$root/dev/ptmx"
    ln -s /proc/self/fd "$root/dev/fd"
    mkdir -p "$root/tmp"
    cd "$root"
    clean="env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8"
    capabilities=-all,+chown,+dac_override,+fowner,+fsetid,+kill,+setgid,+setuid,+setpcap,+net_bind_service
    capabilities+=,+net_raw,+sys_chroot,+mknod,+audit_write,+setfcap
    case $kind in
      user) $clean chroot "$root" su newcomer -c "cd /home/newcomer/kelo && $command" ;;
      container) $clean HOME=/root setpriv --bounding-set="$capabilities" --inh-caps=-all chroot "$root" \
        bash -c "cd /root/kelo && $command" ;;
      root) $clean HOME=/root chroot "$root" bash -c "cd /root/kelo && $command" ;;
    esac
  ' bash "$root" "$kind" "$1" </dev/null
}

printf 'try-bare: making %s\n' "$system"
make_system
clone_checkout
status=0
printf 'load at the start: %s\n' "$(cut -d ' ' -f 1-3 /proc/loadavg)"
for command in "${commands[@]}"; do
  SECONDS=0
  result=0
  run_inside "$command" >"$folder/output" 2>&1 || result=$?
  if [ $result -ne 0 ]; then
    status=1
    tail -n 60 "$folder/output"
  fi
  printf '%s, %s: %s: %d s, exit status %d: %s\n' "$system" "$kind" "$command" $SECONDS $result \
    "$(grep -E 'tests ran in|promises' "$folder/output" | tail -n 1 | sed 's/\x1b\[[0-9]*m//g')"
done
printf 'load at the end: %s\n' "$(cut -d ' ' -f 1-3 /proc/loadavg)"
exit $status
