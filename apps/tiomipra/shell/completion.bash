# shellcheck shell=bash
# bash completion of tiomipra. It asks the program for its subcommands and options, so that it fits
# whatever version is installed; what follows an option is completed as a file name.

_tiomipra() {
    local program=$1 current=$2 subcommand='' help words='' word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == -* ]] || { subcommand=$word && break; }
    done
    help=$("$program" ${subcommand:+"$subcommand"} --help 2>/dev/null)

    if [[ $current == -* ]]; then
        words=$(grep -oE '^ +(-[a-z],)?--[a-z0-9-]+' <<<"$help" | grep -oE -e '--.*')
    elif [[ -z $subcommand ]]; then
        words=$(sed -nE '/^Subcommands:/,/^$/s/^  ([a-z]+) .*/\1/p' <<<"$help")
    fi
    # Nothing found: bash completes file names.
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -o default -F _tiomipra tiomipra
