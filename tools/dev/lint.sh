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
  lint_words
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

# Searches documents, sources and the subject of the last commit for phrases that are hard to read. tools/dev/words.txt
# lists them as regular expressions, each with its replacement.
lint_words() {
  local subject text passes=true
  say "words"
  subject=$(git log -1 --no-merges --format=%s 2>/dev/null) || true # there may be no commit
  [ ${#subject} -le 60 ] || fail "the subject of the last commit has more than 60 characters: $subject"
  text=$(mktemp "${TMPDIR:-/tmp}/kelo.XXXXXX")
  printf '%s\n' "$subject" >"$text"
  # shellcheck disable=SC2016 # the variables are those of awk
  { text_files; printf '%s\n' "$text"; } | xargs awk -v list=tools/dev/words.txt -v subject="$text" '
    FILENAME == list { split($0, row, "\t"); phrases[++count] = "(^|[^a-z])(" row[1] ")([^a-z]|$)"; instead[count] = row[2]; next }
    { words = $0
      gsub(/[A-Z]/, " &", words) # separates the words of a test name
      gsub(/[ _]+/, " ", words)
      gsub(/ no (longer|more) /, " ", words) # these phrases are plain English
      words = tolower(words)
      for (i = 1; i <= count; i++) if (match(words, phrases[i])) {
        phrase = substr(words, RSTART, RLENGTH)
        gsub(/^[^a-z]+|[^a-z]+$/, "", phrase)
        place = FILENAME == subject ? "the subject of the last commit" : FILENAME ":" FNR
        printf "%s: instead of \"%s\" write: %s\n", place, phrase, instead[i]
        found = 1
      } }
    END { exit found }' tools/dev/words.txt || passes=false
  rm "$text"
  $passes || fail "these phrases are hard to read"
}

# Lists the files that lint_words searches. Excludes the third-party notices and the test of lint_words, which contain
# such phrases.
text_files() {
  git ls-files --cached --others --exclude-standard -- '*.md' '*.[18]' '*.cpp' '*.h' '*.mm' '*.swift' '*.sh' '*.py' '*.js' \
    '*.yml' '*.cmake' '*CMakeLists.txt' dev .ci packaging ':!THIRD_PARTY_NOTICES.md' ':!tests/walls/words.sh'
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

# tidy_source FILE: checks a source, and prints nothing unless the check fails. Joined sources may fail to compile, for
# example because two functions have the same name; in that case, checks each source alone.
tidy_source() {
  local output part parts=()
  output=$("$CLANG_TIDY" -p build/lint --quiet --checks=-bugprone-suspicious-include "$1" 2>&1) && return
  while IFS= read -r part; do parts+=("$part"); done < <(sed -n '\|^#include "/|s/^#include "\(.*\)"$/\1/p' "$1")
  if [ ${#parts[@]} -gt 0 ]; then output=$("$CLANG_TIDY" -p build/lint-alone --quiet "${parts[@]}" 2>&1) && return; fi
  printf '%s\n' "$output"
  return 1
}
export -f tidy_source
