# shellcheck shell=bash
# What the project builds with, and how to get it. Sourced by ./dev.

# Debian's and Ubuntu's packages.
debian_packages=(
  git cmake ninja-build g++ clang clang-format clang-tidy llvm
  libgtest-dev libgmock-dev libbenchmark-dev nlohmann-json3-dev libcli11-dev libssl-dev
  mandoc zsh fish lld googletest
  shellcheck pycodestyle pyflakes3 yamllint openssl libblocksruntime-dev libxml2-utils libc++-dev libc++abi-dev
)
# Homebrew's: what building and testing need, and what else the form of the sources needs.
brew_packages=(cmake ninja googletest nlohmann-json cli11 fish)
brew_form_packages=(llvm shellcheck)

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# ensure_packages [form]: installs what is missing and says what it installs; says nothing when nothing is.
ensure_packages() {
  if [ "$(uname)" != Darwin ] && command -v apt-get >/dev/null; then
    ensure_debian_packages
  elif command -v brew >/dev/null; then
    ensure_brew_packages
    [ "${1-}" != form ] || install_brew_packages "${brew_form_packages[@]}"
  else
    fail "needs apt (Debian 12 or newer, Ubuntu 24.04 or newer) or Homebrew to install what it builds with"
  fi
}

ensure_debian_packages() {
  install_debian_packages "${debian_packages[@]}"
  # The sanitizers' run-time library is only a recommendation of the compiler's package, and named after its version.
  install_debian_packages "libclang-rt-$(clang -dumpversion | cut -d. -f1)-dev"
  # The Objective-C runtime, of the GCC whose libraries Clang takes.
  install_debian_packages "libobjc-$(clang -v 2>&1 | sed -n 's|^Selected GCC installation: .*/||p')-dev"
}

install_debian_packages() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
    fail "needs these packages and neither runs as root nor finds sudo: ${missing[*]}"
  fi
  say "installing: ${missing[*]}"
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" \
    | count_packages
}

# On a terminal: how many packages, those included that others need, are there so far.
count_packages() {
  if [ ! -t 1 ]; then cat >/dev/null; return; fi
  awk '/^Unpacking / { unpacked++ } /^Setting up / { ready++ }
       /^(Unpacking|Setting up) / { printf "\r    %d unpacked, %d ready ", unpacked, ready; fflush() }
       END { if (unpacked) print "" }'
}

ensure_brew_packages() { install_brew_packages "${brew_packages[@]}"; }

install_brew_packages() {
  local missing=() package
  for package in "$@"; do
    brew list --formula "$package" >/dev/null 2>&1 || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  say "installing: ${missing[*]}"
  brew install --quiet "${missing[@]}"
}

# clang_tool NAME: Clang's tool of this name. Homebrew keeps its own off the path.
clang_tool() {
  if [ "$(uname)" = Darwin ]; then printf '%s/bin/%s' "$(brew --prefix llvm)" "$1"; else printf '%s' "$1"; fi
}
