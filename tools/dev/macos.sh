# shellcheck shell=bash
# The macOS product: what ./dev test says about it, and installing it on a Mac. Sourced by ./dev.

# macos_summary PRESET: after a whole test run. None of either means that they were lost on the way.
macos_summary() {
  grep -q '^KELO_MACOS_TESTS:INTERNAL=ON' "build/$1/CMakeCache.txt" || return 0
  local report="build/$1/tests.xml" compiled ran where
  compiled=$(sed -n 's/^.*[^0-9]\([1-9][0-9]*\) macOS sources compiled$/\1/p' "$report")
  ran=$(grep -c '<testcase name="macos[a-z-]*:.*status="run"' "$report") || ran=0
  where="doubles of the system"
  [ "$(uname)" != Darwin ] || where="this Mac"
  [ -n "$compiled" ] || fail "no macOS source was compiled"
  [ "$ran" -gt 0 ] || fail "no macOS test ran"
  say "$compiled macOS sources compiled, $ran macOS tests ran on $where"
}
