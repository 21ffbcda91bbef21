# shellcheck shell=bash
# Form: clang-format, clang-tidy, shellcheck, pycodestyle, pyflakes, yamllint, and headers that compile alone. Sourced
# by ./dev.

source_files() { git ls-files --cached --others --exclude-standard -- '*.cpp' '*.h' '*.mm'; }

command_format() {
  [ $# -eq 0 ] || usage "format takes no arguments"
  ensure_packages format
  source_files | xargs "$(clang_tool clang-format)" -i
}

command_lint() {
  [ $# -eq 0 ] || usage "lint takes no arguments"
  ensure_packages test lint
  say "clang-format"
  source_files | xargs "$(clang_tool clang-format)" --dry-run -Werror
  say "shellcheck"
  shell_files | xargs shellcheck -x
  lint_python
  lint_workflow
  say "clang-tidy"
  configure lint
  [ "$(uname)" = Darwin ] || cmake --build --preset lint --target kelo_precompiled_library kelo_precompiled_executable >/dev/null
  tidy
  [ "$(uname)" = Darwin ] || lint_headers
}

# Every header of ours compiles without anything included before it, with the definitions of the target that has most.
lint_headers() {
  local flags
  say "headers"
  mapfile -t flags < <(grep -o '"command": .*/tests/e2e/WayOutTest.cpp"' build/lint/compile_commands.json \
    | grep -oE -- ' -(D|W)[^ ]+' | sed 's/^ //; s/\\//g; s/="/=/; s/"$//' | sort -u)
  tests/walls/headers.sh build/lint/headers clang++ "${flags[@]}"
}

lint_python() {
  if ! command -v pyflakes3 >/dev/null; then return; fi # Homebrew's Mac has no use for the tools in Python
  say "pycodestyle, pyflakes"
  git ls-files --cached --others --exclude-standard -- '*.py' | xargs pycodestyle --max-line-length=120
  git ls-files --cached --others --exclude-standard -- '*.py' | xargs pyflakes3
}

lint_workflow() {
  if ! command -v yamllint >/dev/null; then return; fi # as above
  say "yamllint"
  yamllint --strict -d '{extends: relaxed, rules: {line-length: {max: 120}}}' .github/workflows
}

shell_files() {
  git ls-files --cached --others --exclude-standard -- dev '*.sh' .ci/run packaging/macos/package/uninstall \
    packaging/macos/package/scripts/
}

# The test sources stay out: their macros expand to code that no check was written for.
tidy() {
  CLANG_TIDY=$(clang_tool clang-tidy)
  export CLANG_TIDY
  git ls-files --cached --others --exclude-standard -- '*.cpp' | grep -v '^tests/' \
    | xargs -P "$(jobs_count)" -n 4 bash -c 'tidy_batch "$@"' tidy_batch \
    || fail "clang-tidy found something"
}

# tidy_batch FILE...: says something only when it fails, but then everything. Otherwise clang-tidy counts what it has
# suppressed in the system's headers.
tidy_batch() {
  local output
  output=$("$CLANG_TIDY" -p build/lint --quiet "$@" 2>&1) && return
  printf '%s\n' "$output"
  return 1
}
export -f tidy_batch
