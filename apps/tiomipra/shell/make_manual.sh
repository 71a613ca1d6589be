#!/usr/bin/env bash
# Turns the program's own help into manual pages, one for it and one for each subcommand:
#
#   make_manual.sh PROGRAM FOLDER
set -euo pipefail

program=$1 folder=$2
name=$(basename "$program")
help=$("$program" --help)
version=$("$program" --version)
version=${version%%$'\n'*}
rm -rf "$folder"
mkdir -p "$folder"

# page NAME SUMMARY [SUBCOMMAND]
page() {
    local page=$1 summary=$2 subcommand=${3:-}
    # help2man takes the page's name from the program's, without the subcommand.
    help2man --no-info --section=1 --name="${summary,}" --source="$version" \
        --version-string="${version#* }" "$program${subcommand:+ $subcommand}" |
        sed -E -e "s/^\.TH [^ ]+/.TH ${page^^}/" -e "s/^$name( $subcommand)? \\\\- /$page \\\\- /" |
        gzip -9n >"$folder/$page.1.gz"
}

page "$name" "$(head -1 <<<"$help" | sed 's/\.$//')"
sed -nE '/^Subcommands:/,/^$/s/^  ([a-z]+) +(.*)/\1 \2/p' <<<"$help" |
    while read -r subcommand summary; do
        page "$name-$subcommand" "$summary" "$subcommand"
    done
