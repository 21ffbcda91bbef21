# shellcheck shell=bash
# Configure, build, run, measure. Sourced by ./dev.

jobs_count() { getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2; }

# build PRESET: configures quietly, since only a failure is news, and builds with progress.
build() {
  say "configuring and building the $1 preset"
  local log
  log=$(mktemp)
  if ! cmake --preset "$1" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    fail "the configuration failed"
  fi
  rm -f "$log"
  cmake --build --preset "$1"
}

# run_tests PRESET [CTEST-ARGUMENT...]
run_tests() {
  local preset=$1
  shift
  say "running the tests of the $preset preset"
  # Twice as many at once as there are processors: the tests with several processes spend their time waiting.
  ctest --test-dir "build/$preset" --output-on-failure --progress -j "$(($(jobs_count) * 2))" \
    --output-junit tests.xml "$@"
  [ $# -gt 0 ] || macos_summary "$preset"
}

command_test() {
  local preset=debug coverage=false
  while [ $# -gt 0 ]; do
    case $1 in
      --preset) [ $# -ge 2 ] || usage "--preset needs a name"; preset=$2; shift 2 ;;
      --preset=*) preset=${1#--preset=}; shift ;;
      --coverage) coverage=true; shift ;;
      --) shift; break ;;
      *) usage "test does not know \"$1\" (arguments for ctest go behind --)" ;;
    esac
  done
  case $preset in
    debug | gcc | release | asan | tsan) ;;
    *) usage "test runs the presets debug, gcc, release, asan and tsan, not \"$preset\"" ;;
  esac
  ensure_packages
  if $coverage; then
    coverage_report "$@"
    return
  fi
  build "$preset"
  run_tests "$preset" "$@"
}

# Prints line and branch coverage per folder and leaves an HTML report.
coverage_report() {
  local directory=build/coverage
  build coverage
  rm -rf "$directory/profiles"
  LLVM_PROFILE_FILE="$PWD/$directory/profiles/%p-%m.profraw" run_tests coverage "$@"
  find "$directory/profiles" -name '*.profraw' >"$directory/profiles.txt"
  llvm_tool profdata merge -sparse --input-files="$directory/profiles.txt" -o "$directory/all.profdata"
  local binaries=() first binary
  while IFS= read -r binary; do binaries+=(-object "$binary"); done < <(find "$directory" -type f -perm -u+x \
    -not -path '*/CMakeFiles/*' -not -path '*/Testing/*' | sort)
  first=${binaries[1]}
  binaries=("${binaries[@]:2}")

  printf '\n%-20s %10s %10s\n' folder lines branches
  local folder
  for folder in protocol core/* helper platform/* simulator client; do
    [ -d "$folder" ] || continue
    find "$folder" -name '*.cpp' -o -name '*.mm' -o -name '*.h' | grep -q . || continue
    llvm_tool cov report "$first" "${binaries[@]}" -instr-profile="$directory/all.profdata" "$folder" \
      | awk -v folder="$folder" '$1 == "TOTAL" { printf "%-20s %10s %10s\n", folder, $10, $13 }'
  done
  llvm_tool cov show "$first" "${binaries[@]}" -instr-profile="$directory/all.profdata" -format=html \
    -show-branches=count -output-dir="$directory/html" --ignore-filename-regex='(^/usr|/tests/|/fuzz/)'
  say "the report is $directory/html/index.html"
}

# The newest of what is installed as llvm-NAME or llvm-NAME-VERSION; on macOS the command line tools'.
llvm_tool() {
  local name=$1 tool
  shift
  if tool=$(command -v "llvm-$name"); then
    "$tool" "$@"
  elif command -v xcrun >/dev/null; then
    xcrun "llvm-$name" "$@"
  else
    fail "llvm-$name is not installed"
  fi
}
