#!/usr/bin/env bash
# Checks that ./dev lint finds phrases of tools/dev/words.txt in every kind of text, and accepts plain English.
#
# Run from the top of the repository.
source testing/script.sh

say() { :; }
fail() { printf '%s\n' "$*"; exit 1; }
# shellcheck source=tools/dev/lint.sh
source tools/dev/lint.sh

mkdir -p "$folder/tree/tools/dev"
cp tools/dev/words.txt "$folder/tree/tools/dev"
cd "$folder/tree"
git init --quiet
commit() {
  git add .
  git -c user.name=test -c user.email=test@localhost commit --quiet --allow-empty --message "$1"
}
# finds PLACE PHRASE: lint fails and names both.
finds() {
  ! (lint_words) >"$folder/out" || failure "not found: $2 in $1"
  grep -qF "$1: instead of \"$2" "$folder/out" || failure "not reported: $2 in $1"
}

printf '# Log\n\nThe fans are no longer held; a file that is no more than 8 bytes is read. Amend it.\n' >page.md
printf '// Retries.\nTEST(Log, RefusesAnUnsignedClient) {}\n' >Test.cpp
commit "Add a page"
(lint_words) >"$folder/out" || failure "plain English is refused"

# planted FILE LINE PHRASE: adds the line, expects a finding, and removes the line again.
planted() {
  local before
  before=$(cat "$1" 2>/dev/null) || true
  printf '%s\n%s\n' "$before" "$2" >"$1"
  finds "$1:$(wc -l <"$1")" "$3"
  printf '%s\n' "$before" >"$1"
}
planted page.md 'A fault that is none is mended.' 'mended'
planted page.1 'The fans are let go.' 'are let go'
planted Test.cpp '/// Whoever asks is served.' 'whoever'
planted Test.cpp '    fail("a key that is no number");' 'that is no number'
planted Test.cpp 'TEST(Hold, IsTakenOnceMore) {}' 'once more'
planted Test.cpp 'TEST(Hold, TIMER_falls_due) {}' 'falls due'
planted script.sh '# Made by hand.' 'by hand'

commit "Mend the page"
finds "the subject of the last commit" mend
commit "Add a subject that takes more than sixty characters to say what it does"
! (lint_words) >"$folder/out" || failure "a long subject is accepted"
printf 'phrases are found in every kind of text\n'
