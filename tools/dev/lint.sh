# shellcheck shell=bash
# Checks the form of the sources: clang-format, clang-tidy, shellcheck, pycodestyle, pyflakes, yamllint, and whether
# headers compile alone. Sourced by ./dev.

source_files() { git ls-files --cached --others --exclude-standard -- '*.cpp' '*.h' '*.mm'; }

command_format() {
  [ $# -eq 0 ] || usage "format takes no arguments"
  ensure_packages format
  source_files | xargs "$(clang_tool clang-format)" -i
}

command_lint() {
  [ $# -eq 0 ] || usage "lint takes no arguments"
  ensure_packages build test lint
  say "clang-format"
  source_files | xargs "$(clang_tool clang-format)" --dry-run -Werror
  say "shellcheck"
  shell_files | xargs shellcheck -x
  lint_python
  lint_workflow
  say "clang-tidy"
  configure lint
  configure lint -B build/lint-alone -DCMAKE_UNITY_BUILD=OFF
  tidy
  [ "$(uname)" = Darwin ] || lint_headers
}

# Compiles each header alone, with the definitions that some of the tests need.
lint_headers() {
  local flags
  say "headers"
  mapfile -t flags < <(grep -E '"command": .*/(e2e_test|linux_signing_test).dir/' build/lint/compile_commands.json \
    | grep -oE -- ' -(D|W)[^ ]+' | sed 's/^ //; s/\\//g' | sort -u)
  tests/walls/headers.sh build/lint/headers clang++ "${flags[@]}"
}

lint_python() {
  if ! command -v pyflakes3 >/dev/null; then return; fi # not installed on a Mac, where the Python tools are not used
  say "pycodestyle, pyflakes"
  git ls-files --cached --others --exclude-standard -- '*.py' | xargs pycodestyle --max-line-length=120
  git ls-files --cached --others --exclude-standard -- '*.py' | xargs pyflakes3
}

lint_workflow() {
  if ! command -v yamllint >/dev/null; then return; fi # not installed on a Mac
  say "yamllint"
  yamllint --strict -d '{extends: relaxed, rules: {line-length: {max: 120}}}' .github/workflows
}

shell_files() {
  git ls-files --cached --others --exclude-standard -- dev '*.sh' .ci/run packaging/macos/package/uninstall \
    packaging/macos/package/scripts/
}

# clang-tidy spends most of its time on headers, so it checks unity builds, which join many sources. Excludes the test
# sources, because their macros expand to code that the checks do not expect.
tidy() {
  CLANG_TIDY=$(clang_tool clang-tidy)
  export CLANG_TIDY
  local sources
  sources=$(tidy_sources)
  xargs -P "$(jobs_count)" -n 1 bash -c 'tidy_source "$@"' tidy_source <<<"$sources" \
    || fail "clang-tidy found problems"
}

tidy_sources() {
  sed -nE 's/^ *"file": "(.*\.(cpp|cxx))",?$/\1/p' build/lint/compile_commands.json \
    | grep -vE "^$PWD/(build/lint/)?(testing|tests)/" | sort -u
}

# tidy_source FILE: silent unless it fails. Joined sources may fail to compile, for example because two functions have
# the same name; then each source is checked alone.
tidy_source() {
  local output part parts=()
  output=$("$CLANG_TIDY" -p build/lint --quiet --checks=-bugprone-suspicious-include "$1" 2>&1) && return
  while IFS= read -r part; do parts+=("$part"); done < <(sed -n '\|^#include "/|s/^#include "\(.*\)"$/\1/p' "$1")
  if [ ${#parts[@]} -gt 0 ]; then output=$("$CLANG_TIDY" -p build/lint-alone --quiet "${parts[@]}" 2>&1) && return; fi
  printf '%s\n' "$output"
  return 1
}
export -f tidy_source
