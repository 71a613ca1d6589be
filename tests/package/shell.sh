#!/usr/bin/env bash
# Completion and manual pages know every option of every subcommand:
#
#   shell.sh PROGRAM COMPLETION MANUAL
set -euo pipefail

program=$1 completion=$2 manual=$3
# shellcheck source=apps/tiomipra/shell/completion.bash
source "$completion"

# completionsOf WORD...: the last word is the one under the cursor.
completionsOf() {
    COMP_WORDS=(tiomipra "$@")
    COMP_CWORD=$#
    _tiomipra "$program" "${COMP_WORDS[-1]}"
    printf '%s\n' "${COMPREPLY[@]}"
}

expect() {
    if ! grep -Fxq -e "$1" <<<"$2"; then
        echo "$3 lacks $1; it has:" "$2" >&2
        exit 1
    fi
}

subcommands=$(completionsOf '')
expect rectify "$subcommands" "The completion of subcommands"
expect rectify "$(completionsOf re)" "The completion of re"
expect --version "$(completionsOf --)" "The completion of the program's options"
expect balanced "$(completionsOf depth --preset '')" "The completion of presets"
expect --left "$(completionsOf calibrate --left board --)" "The completion beside a folder called board"
expect ply,pcd "$(completionsOf depth --formats ply,p)" "The completion of a list"

for subcommand in $subcommands; do
    completed=$(completionsOf "$subcommand" --)
    described=$(zcat "$manual/tiomipra-$subcommand.1.gz" | sed 's/\\f.//g; s/\\//g')
    options=$("$program" "$subcommand" --help | sed -nE 's/^ +(-[a-z],)?(--[^ ]+).*/\2/p')
    for option in $options; do
        expect "$option" "$completed" "The completion of $subcommand"
        expect "$option" "$(grep -oE -e '^(-.,)?--[^ ]+' <<<"$described" | sed 's/^-.,//')" \
            "The manual page of $subcommand"
    done
done
