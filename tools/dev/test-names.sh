# shellcheck shell=bash
# Finds the programs that contain a test, and the tests that failed. Sourced by ./dev.

# build_only PRESET PATTERN: builds the programs with matching tests. If no name matches, the pattern may match a
# parameter, so it builds all programs with parameterised tests. Stores the programs' names in $programs.
build_only() {
  say "configuring and building the programs with tests that match $2"
  configure "$1"
  programs=$(programs_with_tests "$1" "$2")
  [ -n "$programs" ] || programs=$(programs_with_tests "$1" '*/*.*/*')
  # shellcheck disable=SC2086 # one word for each program
  cmake --build --preset "$1" --target $programs
}

# programs_with_tests PRESET PATTERN: prints the programs with matching tests. Searches the sources, so that nothing has
# to be built first.
programs_with_tests() {
  local program sources
  while IFS=$'\t' read -r program _ sources; do
    # shellcheck disable=SC2086 # one word for each file
    if test_names $sources | matches "$2"; then printf '%s ' "$program"; fi
  done <"build/$1/test-programs.txt"
}

# test_names SOURCE...: prints the names, in GoogleTest's form, of the tests in the sources and in suites that they
# include.
test_names() {
  local suites
  suites=$(sed -nE 's|^#include "(tests/conformance/.*)"|\1|p' "$@")
  # shellcheck disable=SC2086 # one word for each file
  cat "$@" $suites | tr -s '\n ' ' ' \
    | grep -oE '(TYPED_)?TEST(_F|_P)?\( ?\w+, ?\w+|INSTANTIATE_(TYPED_)?TEST_SUITE_P\( ?\w+, ?\w+' \
    | sed -E 's/\( ?/ /; s/, ?/ /' \
    | awk '$1 == "TEST" || $1 == "TEST_F" { print $2 "." $3; next }
           /^INSTANTIATE/ { prefixes[$3] = prefixes[$3] " " $2; next }
           $1 == "TYPED_TEST" { print $2 "/0." $3; next }
           { count++; kind[count] = $1; suite[count] = $2; name[count] = $3 }
           END { for (i = 1; i <= count; i++) {
                   many = split(prefixes[suite[i]], each, " ")
                   for (j = 1; j <= many; j++)
                     print each[j] "/" suite[i] (kind[i] == "TEST_P" ? "." name[i] "/0" : "/0." name[i]) } }'
}

# matches PATTERN: returns whether a name on standard input matches a GoogleTest filter. Only the test program knows the
# numbers and names of parameters, so any parameter matches.
matches() {
  local name pattern patterns
  IFS=: read -ra patterns <<<"${1%%-*}"
  [ ${#patterns[@]} -gt 0 ] || patterns=('*')
  while read -r name; do
    for pattern in "${patterns[@]}"; do
      # shellcheck disable=SC2053 # the pattern must not be quoted
      if [[ $name == $pattern || $name == "${name%/*}"/* && ${name%/*} == ${pattern%/*} ]]; then
        cat >/dev/null
        return
      fi
    done
  done
  return 1
}

# matching_tests PRESET PATTERN: prints a regular expression for ctest that selects those $programs that have matching
# tests. For a program with shards, selects at most as many shards as there are matching tests. Uses no groups, because
# CMake limits the number of parentheses.
matching_tests() {
  local program path _ count found=''
  while IFS=$'\t' read -r program path _; do
    grep -qw -- "$program" <<<"$programs" || continue
    count=$("$path" --gtest_list_tests --gtest_filter="$2" | grep -c '^  ') || continue
    # shellcheck disable=SC2046 # a word for each shard
    found+="|^$program\$$(printf "|^${program}_%d_of_" $(seq "$count"))"
  done <"build/$1/test-programs.txt"
  [ -n "$found" ] || fail "no test matches $2"
  printf '%s' "${found#|}"
}

# fail_with_names PRESET: prints the failed tests and the commands that run them again, and exits.
fail_with_names() {
  local tests scripts count preset=''
  [ "$1" = debug ] || preset=" --preset $1"
  tests=$(failed_tests "build/$1")
  scripts=$(failed_scripts "build/$1")
  count=$(printf '%s\n%s\n' "$tests" "$scripts" | grep -c . || true)
  [ "$count" -gt 0 ] || fail "ctest failed; build/$1/Testing/Temporary/LastTest.log may say why"
  printf '\n'
  printf '%s\n%s\n' "$tests" "$scripts" | grep . | awk -F '\t' '{ printf "    %s\n        %s\n", $1, $2 }'
  say "Run them again:"
  [ -z "$tests" ] || printf "    ./dev test%s --only '%s'\n" "$preset" "$(cut -f 1 <<<"$tests" | paste -sd : -)"
  [ -z "$scripts" ] || printf "    ./dev test%s -- -R '^(%s)\$'\n" "$preset" "$(cut -f 1 <<<"$scripts" | paste -sd '|' -)"
  fail "$count failed"
}

# failed_tests BUILD: prints name and location of each GoogleTest test that failed or did not finish.
failed_tests() {
  cat "$1"/test-reports/*.xml 2>/dev/null | awk '
    /<testcase / { name = attribute("classname") "." attribute("name"); place = attribute("file") ":" attribute("line") }
    /<failure message=/ && name != "" {
      where = attribute("message")
      sub(/&#x0A;.*/, "", where)
      print name "\t" (where ~ /^[^ ]+:[0-9]+$/ ? where : place)
      name = ""
    }
    function attribute(key,    text) {
      if (!match($0, " " key "=\"[^\"]*\"")) return ""
      text = substr($0, RSTART, RLENGTH)
      sub(/^[^"]*"/, "", text)
      sub(/"$/, "", text)
      return text
    }'
  without_report "$1" | awk -F '\t' '$2 != "-" { print $2 "\t" $3 " (in " $1 ")" }'
}

# failed_scripts BUILD: prints the other failed tests, each with the location that it reports, or its command.
failed_scripts() {
  local test name place
  without_report "$1" | while IFS=$'\t' read -r test name place; do
    [ "$name" != - ] || printf '%s\t%s\n' "$test" "${place:-$(command_of "$1" "$test")}"
  done
}

# without_report BUILD: prints the failed tests of ctest that wrote no report. For a program that ended early, prints a
# line for each test that had already failed and for the unfinished test. For other tests, prints the first script
# location in their output. Columns: ctest's name, the program's test or -, reason or location.
without_report() {
  local line
  awk '/<testcase / { name = $0; sub(/.*<testcase name="/, "", name); sub(/".*/, "", name)
                      failed = /status="fail"/; running = place = at = ""; printed = 0 }
       /<testcase .*status="notrun"/ { failed = 1; place = "was not run" }
       /<skipped message="SKIP_/ { failed = 0 }
       !failed { next }
       /\[ +(OK|SKIPPED) \]/ { running = "" }
       /\[  FAILED  \] .*\([0-9]+ ms\)/ && running != "" { print name "\t" running "\t" at; running = ""; printed = 1 }
       /\[ RUN      \]/ { running = $NF; at = "failed" }
       /^[^ ]+:[0-9]+: Failure$/ { at = $1; sub(/:$/, "", at) }
       place == "" && match($0, /(tests|prove)\/[^ :]*\.(sh|js):[0-9]+/) { place = substr($0, RSTART, RLENGTH) }
       /<\/testcase>/ { if (running != "") print name "\t" running "\tdid not finish"
                        else if (!printed) print name "\t-\t" place }' "$1/tests.xml" \
    | while IFS= read -r line; do
      grep -qs '<failure' "$1/test-reports/${line%%$'\t'*}.xml" || printf '%s\n' "$line"
    done
}

# command_of BUILD TEST: prints the script or program that a ctest test runs.
command_of() {
  ctest --test-dir "$1" -N -V -R "^$2\$" \
    | sed -nE 's/^.*Test command: //p' | sed -E 's|^[^"]*"?[^ ]*/settled.sh"? "[^"]*" ||' | awk -F '"' '{ print $1 == "" ? $2 : $1 }' \
    | head -n 1
}
