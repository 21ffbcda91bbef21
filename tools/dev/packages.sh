# shellcheck shell=bash
# Lists and installs the packages that the project needs. Sourced by ./dev.

# debian_packages NEED: prints the Debian and Ubuntu packages for NEED.
debian_packages() {
  case $1 in
    build) echo git cmake ninja-build clang g++ lld nlohmann-json3-dev libcli11-dev libsodium-dev ;;
    test) echo libgtest-dev libgmock-dev libblocksruntime-dev libxml2-utils mandoc zsh fish ;;
    bench) echo libbenchmark-dev python3 ;;
    sanitizers | coverage) echo llvm ;; # to symbolize addresses and read profiles
    macos) echo llvm googletest libc++-dev libc++abi-dev ;;
    format) echo git clang-format ;;
    lint) echo clang-format clang-tidy shellcheck pycodestyle pyflakes3 yamllint libbenchmark-dev ;;
  esac
}

# brew_packages NEED: prints the Homebrew packages for NEED.
brew_packages() {
  case $1 in
    build) echo cmake ninja nlohmann-json cli11 ;;
    test) echo googletest fish ;;
    format) echo llvm ;;
    lint) echo llvm shellcheck ;;
  esac
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# ensure_packages NEED...: installs missing packages for each NEED (build, test, sanitizers, coverage, bench, macos,
# format, lint). Silent if no package is missing.
ensure_packages() {
  if [ "$(uname)" != Darwin ] && command -v apt-get >/dev/null; then
    ensure_debian_packages "$@"
  elif command -v brew >/dev/null; then
    ensure_brew_packages "$@"
  else
    fail "needs apt (Debian 12 or newer, Ubuntu 24.04 or newer) or Homebrew to install packages"
  fi
}

ensure_debian_packages() {
  # shellcheck disable=SC2046 # a word for each package
  install_debian_packages $(for need in "$@"; do debian_packages "$need"; done)
  # The names of these packages contain the version of Clang, or of the GCC whose libraries Clang uses.
  case " $* " in *" sanitizers "* | *" coverage "* | *" macos "*)
    install_debian_packages "libclang-rt-$(clang -dumpversion | cut -d. -f1)-dev" ;;
  esac
  case " $* " in *" test "* | *" macos "*)
    install_debian_packages "libobjc-$(clang -v 2>&1 | sed -n 's|^Selected GCC installation: .*/||p')-dev" ;;
  esac
}

# Installs Swift, which contains the real libdispatch and CoreFoundation.
ensure_swift() {
  ! command -v swiftc >/dev/null || return 0
  [ -n "$(apt-cache search --names-only '^swiftlang$' 2>/dev/null)" ] || fail \
    "the preset real-dispatch needs libdispatch and CoreFoundation, which come with Swift, but there is neither swiftc in
the path nor a package swiftlang (Debian 13 has it; the container image \"swift\" has Swift)"
  install_debian_packages swiftlang
}

install_debian_packages() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
    fail "these packages are missing, and installing them needs root or sudo: ${missing[*]}"
  fi
  say "installing: ${missing[*]}"
  [ -n "${lists_are_new-}" ] || as_root apt-get update -qq
  lists_are_new=yes
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" \
    | count_packages
}

# Shows on a terminal how many packages, including dependencies, are unpacked and ready.
count_packages() {
  if [ ! -t 1 ]; then cat >/dev/null; return; fi
  awk '/^Unpacking / { unpacked++ } /^Setting up / { ready++ }
       /^(Unpacking|Setting up) / { printf "\r    %d unpacked, %d ready ", unpacked, ready; fflush() }
       END { if (unpacked) print "" }'
}

# shellcheck disable=SC2046 # a word for each package
ensure_brew_packages() { install_brew_packages $(for need in "$@"; do brew_packages "$need"; done); }

install_brew_packages() {
  local missing=() package
  for package in "$@"; do
    brew list --formula "$package" >/dev/null 2>&1 || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  say "installing: ${missing[*]}"
  brew install --quiet "${missing[@]}"
}

# clang_tool NAME: prints the path of a Clang tool. Homebrew does not add its tools to PATH.
clang_tool() {
  if [ "$(uname)" = Darwin ]; then printf '%s/bin/%s' "$(brew --prefix llvm)" "$1"; else printf '%s' "$1"; fi
}
