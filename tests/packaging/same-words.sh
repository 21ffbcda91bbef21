#!/usr/bin/env bash
# Fails if the help, the manual page and the completions of a program name different commands or options.
#
# usage: same-words.sh MANUAL-FOLDER PROGRAM...
set -euo pipefail

manuals=$1
shift

# help_of COMMAND...: prints the help of a command and of its subcommands.
help_of() {
  local text name
  text=$("$@" --help)
  printf '%s\n' "$text"
  while read -r name; do help_of "$@" "$name"; done < <(commands_in "$text")
}

# Prints the command names below the heading "Subcommands:" of a help text.
commands_in() { awk '/^[A-Z]/ { below = $0 == "Subcommands:" } below && /^  [a-z]/ { print $1 }' <<<"$1"; }

# Prints the distinct words of a text that match the pattern.
words_in() { grep -oE -- "$1" <<<"$2" | sort -u; }

# same WHAT WHERE EXPECTED ACTUAL
same() {
  [ -n "$3" ] || { printf '%s: the help names no %s\n' "$program" "$1"; exit 1; }
  [ "$3" = "$4" ] && return
  printf '%s: help (<) and %s (>) name different %s:\n' "$program" "$2" "$1"
  diff <(printf '%s\n' "$3") <(printf '%s\n' "$4") || exit 1
}

for program in "$@"; do
  name=$(basename "$program")
  help=$(help_of "$program")
  commands=$(commands_in "$help" | sort -u)
  options=$(words_in '--[a-z][a-z-]+' "$(grep -E '^  -' <<<"$help")")

  page=$(cat "$manuals/$name.1")
  same commands "the manual page" "$commands" "$(sed -n 's/^\.It Cm \([a-z-]*\).*/\1/p' <<<"$page" | sort -u)"
  same options "the manual page" "$options" "$(words_in 'Fl -[a-z-]+' "$page" | sed 's/^Fl -/--/' | sort)"

  [ "$name" = kelo ] || continue
  for shell in bash zsh; do
    script=$("$program" completions "$shell")
    same options "the completions for $shell" "$options" "$(words_in '--[a-z][a-z-]+' "$script")"
    same commands "the completions for $shell" "$commands" "$(sed -n 's/^      \([a-z-]*\)) .*/\1/p' <<<"$script" | sort)"
  done
  script=$("$program" completions fish)
  same options "the completions for fish" "$options" "$(words_in ' -l [a-z-]+' "$script" | sed 's/^ -l /--/' | sort)"
  same commands "the completions for fish" "$commands" \
    "$(sed -n 's/^complete -c kelo -n __fish_use_subcommand -a \([a-z-]*\) .*/\1/p' <<<"$script" | sort)"
done
printf 'help, manual pages and completions of %d programs agree\n' $#
