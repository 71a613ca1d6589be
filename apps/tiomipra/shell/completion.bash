# shellcheck shell=bash
# bash completion of tiomipra. It asks the program itself, so that it fits whatever version is
# installed.

_tiomipra() {
    # Nothing found: bash completes file names.
    mapfile -t COMPREPLY < <(compgen -W \
        "$("$1" --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)" -- "$2")
}
complete -o default -F _tiomipra tiomipra
