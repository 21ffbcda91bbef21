# shellcheck shell=bash
# Configures, builds, runs tests and measures coverage. Sourced by ./dev.

jobs_count() { getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2; }

# configure PRESET [CMAKE-ARGUMENT...]: runs CMake, and prints its output only if it fails.
configure() {
  local log
  log=$(mktemp "${TMPDIR:-/tmp}/kelo.XXXXXX")
  if ! cmake --preset "$@" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    fail "the configuration failed"
  fi
  rm -f "$log"
}

# build PRESET [TARGET...]: configures and builds, and shows the progress.
build() {
  say "configuring and building the $1 preset"
  configure "$1"
  cmake --build --preset "$1" ${2:+--target "${@:2}"}
}

# build_programs PRESET TARGET...: builds programs other than tests. A new build is configured without tests, so that
# their packages need not be installed.
build_programs() {
  say "building the programs of the $1 preset"
  if grep -qsx KELO_TESTS:BOOL=ON "build/$1/CMakeCache.txt"; then configure "$1"; else configure "$1" -DKELO_TESTS=OFF; fi
  NINJA_STATUS='[%f of %t, %es] ' cmake --build --preset "$1" --target "${@:2}"
}

# run_tests PRESET [CTEST-ARGUMENT...]
run_tests() {
  local preset=$1 status=0
  shift
  say "running the tests of the $preset preset"
  rm -rf "build/$preset/test-reports" "build/$preset/tests.xml"
  # Runs many more tests at once than there are processors, because tests with several processes mostly wait. The
  # sanitizers need more CPU time.
  local at_once=6
  case $preset in asan) at_once=4 ;; tsan) at_once=2 ;; esac
  ctest --test-dir "build/$preset" --output-on-failure -j "$(($(jobs_count) * at_once))" --output-junit tests.xml "$@" \
    | without_passed_tests || status=$?
  tests_summary "$preset"
  [ $status -eq 0 ] || fail_with_names "$preset"
  [ $# -gt 0 ] || macos_summary "$preset"
}

# Removes the lines of passed tests from the output of a failed program.
without_passed_tests() {
  awk '/^\[ RUN  / { began = $0; next }
       /^\[       OK/ && began != "" { began = ""; next }
       /^\[-----/ || /^ +Start / { next }
       began != "" { print began; began = "" }
       { print; fflush() }'
}

# tests_summary PRESET: prints the number of tests in the programs' reports, and the reasons for skipped tests.
tests_summary() {
  local reports="build/$1/test-reports" ran skipped
  grep -q '<testcase ' "build/$1/tests.xml" || fail "no test ran"
  [ -d "$reports" ] || return 0 # only scripts ran
  ran=$(count_tests completed "$reports"/*.xml)
  skipped=$(count_tests skipped "$reports"/*.xml)
  say "$ran tests ran in $(($(find "$reports" -name '*.xml' | wc -l))) processes, $skipped skipped"
  cat "$reports"/*.xml | sed -nE 's/.*<skipped message="[^"&]*&#x0A;([^"]*)".*/    skipped: \1/p' \
    | sed "s/&#x0A;/ /g; s/&apos;/'/g; s/&quot;/\"/g" | sort -u
}

# count_tests RESULT REPORT...
count_tests() { cat "${@:2}" 2>/dev/null | grep -c "<testcase .* result=\"$1\"" || true; }

# repeat_tests ROUNDS LOAD PRESET [CTEST-ARGUMENT...]: runs the tests ROUNDS times, or until the first failure, while
# other work keeps LOAD processors busy.
repeat_tests() {
  local rounds=$1 load=$2 round
  shift 2
  [ "$rounds" -eq 1 ] || export KELO_EVERY_TEST=1
  for ((round = 0; round < load; round++)); do keep_busy & done
  for ((round = 1; round <= rounds; round++)); do
    [ "$rounds" -eq 1 ] || say "round $round of $rounds"
    run_tests "$@"
  done
}

# Uses one processor until ./dev ends.
keep_busy() {
  local i
  while kill -0 $$ 2>/dev/null; do
    for ((i = 0; i < 50000; i++)); do :; done
  done
}

command_test() {
  local preset=debug coverage=false only='' rounds=1 load=0 matching
  while [ $# -gt 0 ]; do
    case $1 in
      --preset) [ $# -ge 2 ] || usage "--preset needs a name"; preset=$2; shift 2 ;;
      --preset=*) preset=${1#--preset=}; shift ;;
      --coverage) coverage=true; shift ;;
      --only) [ -n "${2-}" ] || usage "--only needs a pattern"; only=$2; shift 2 ;;
      --only=*) only=${1#--only=}; shift ;;
      --repeat) is_count "${2-}" || usage "--repeat needs a number"; rounds=$2; shift 2 ;;
      --repeat=*) is_count "${1#*=}" || usage "--repeat needs a number"; rounds=${1#*=}; shift ;;
      --load) is_count "${2-}" || usage "--load needs a number"; load=$2; shift 2 ;;
      --load=*) is_count "${1#*=}" || usage "--load needs a number"; load=${1#*=}; shift ;;
      --) shift; break ;;
      *) usage "unknown argument \"$1\" for test (put arguments for ctest after --)" ;;
    esac
  done
  case $preset in
    debug | gcc | release) ensure_packages build test ;;
    asan | tsan) ensure_packages build test sanitizers ;;
    macos) require_linux; ensure_packages build test macos; set -- -L macos "$@" ;;
    real-dispatch) require_linux; ensure_packages build test; ensure_swift; set -- -R '^macos_(test|swift)' "$@" ;;
    real-dispatch-tsan)
      require_linux; ensure_packages build test sanitizers; ensure_swift; set -- -R '^macos_(test|swift)' "$@" ;;
    *) usage "test runs the presets debug, gcc, release, asan, tsan, macos, real-dispatch and real-dispatch-tsan, not \"$preset\"" ;;
  esac
  if $coverage; then
    [ "$only$preset$rounds$load" = debug10 ] || usage "--coverage takes no other option"
    ensure_packages build test coverage
    coverage_report "$@"
    return
  fi
  if [ -n "$only" ]; then
    build_only "$preset" "$only"
    export GTEST_FILTER=$only
    matching=$(matching_tests "$preset" "$only")
    set -- -R "$matching" "$@"
  elif [[ $preset = macos || $preset = real-dispatch* ]]; then
    build "$preset" macos_test
  else
    build "$preset"
  fi
  repeat_tests "$rounds" "$load" "$preset" "$@"
}

is_count() { [[ $1 =~ ^[1-9][0-9]*$ ]]; }

# Prints line and branch coverage per folder, and the lines and branches of protocol, core and helper that no test
# reaches. Writes an HTML report.
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
  printf '\nnot reached:\n'
  llvm_tool cov export -format=lcov "$first" "${binaries[@]}" -instr-profile="$directory/all.profdata" \
    protocol core helper | not_reached
  llvm_tool cov show "$first" "${binaries[@]}" -instr-profile="$directory/all.profdata" -format=html \
    -show-branches=count -output-dir="$directory/html" --ignore-filename-regex='(^/usr|/testing/|/tests/|/fuzz/|/prove/)'
  say "the report is $directory/html/index.html"
}

# Prints each line and branch of an lcov report that no test reached, with its source text.
not_reached() {
  local file line what
  awk -v top="$PWD/" '/^SF:/ { file = substr($0, 4); sub(top, "", file) }
       /^DA:[0-9]+,0$/ { split(substr($0, 4), line, ","); print file ":" line[1] ":line" }
       /^BRDA:.*,[0-]$/ { split(substr($0, 6), line, ","); print file ":" line[1] ":branch" }' \
    | sort -t : -u -k 1,1 -k 2,2n -k 3 \
    | while IFS=: read -r file line what; do
      printf '%s:%s: %s: %s\n' "$file" "$line" "$what" "$(sed -n "${line}s/^ *//p" "$file")"
    done
}

# llvm_tool NAME ARGUMENT...: runs llvm-NAME, on macOS through xcrun.
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
