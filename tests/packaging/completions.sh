#!/usr/bin/env bash
# Checks the completions of kelo in each shell.
#
# usage: completions.sh KELO
# shellcheck disable=SC2016 # the other shells expand the single-quoted text
source testing/script.sh

kelo=$1
for shell in bash zsh fish; do "$kelo" completions "$shell" >"$folder/kelo.$shell"; done

# expect SHELL EXPECTED ACTUAL
expect() { [ "$2" = "$3" ] || failure "$1: expected <$2>, found <$3>"; }

# complete_in_bash WORD...: prints the completions of the last word.
complete_in_bash() {
  bash --norc -c 'source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _kelo; printf "%s\n" "${COMPREPLY[*]}"' \
    "$folder/kelo.bash" "$@"
}
expect bash 'status stand-down' "$(complete_in_bash kelo sta)"
expect bash '--version' "$(complete_in_bash kelo --v)"
expect bash '--help --hand-back-on-lid-close' "$(complete_in_bash kelo hold --h)"
expect bash 'bash' "$(complete_in_bash kelo completions b)"

# complete_in_fish LINE: prints the completions without their descriptions.
complete_in_fish() {
  HOME=$folder XDG_CONFIG_HOME=$folder XDG_DATA_HOME=$folder \
    fish --no-config -c 'source $argv[1]; complete -C $argv[2]' "$folder/kelo.fish" "$1" | cut -f 1 | sort | xargs
}
expect fish 'stand-down status' "$(complete_in_fish 'kelo sta')"
expect fish '--json' "$(complete_in_fish 'kelo watch --j')"
expect fish '--hand-back-on-lid-close --help' "$(complete_in_fish 'kelo hold --h')"
expect fish 'bash fish zsh' "$(complete_in_fish 'kelo completions ')"

# zsh completes only interactive input, so this test types a command that prints its arguments.
typed_in_zsh() {
  HOME=$folder zsh -f -c '
    zmodload zsh/zpty
    zpty shell zsh -f -i
    zpty -w shell "PS1=; autoload -Uz compinit; compinit -D -u; source $1; kelo() { print -- \"got <\$*>\" }; print ready"
    zpty -r shell answer "*ready*ready*"
    zpty -w shell "$2"
    zpty -r shell answer "*got <*>*"
    print -- "$answer"' typed "$folder/kelo.zsh" "$1" | tr -d '\r' | sed -n 's/.*got <\(.*\)>.*/\1/p'
}
expect zsh 'status --json' "$(typed_in_zsh $'kelo stat\t--j\t')"
expect zsh 'hold --hand-back-on-lid-close 0.5' "$(typed_in_zsh $'kelo ho\t--ha\t0.5')"
expect zsh 'completions fish' "$(typed_in_zsh $'kelo comp\tfi\t')"
printf 'three shells complete words\n'
