#!/usr/bin/env bash
# Programs and shared libraries are built such that mistakes with memory end them:
#
#   hardening.sh FILE...
set -euo pipefail

# expect WHAT PATTERN TEXT: of the current file.
expect() {
    if ! grep -Eq "$2" <<<"$3"; then
        echo "$file lacks $1" >&2
        exit 1
    fi
}

called=
for file in "$@"; do
    dynamic=$(readelf --dynamic --wide "$file")
    expect "read-only relocations" GNU_RELRO "$(readelf --program-headers --wide "$file")"
    expect "binding at its start" 'FLAGS.*NOW' "$dynamic"
    [[ $file == *.so* ]] || expect "place that changes (PIE)" 'Flags:.* PIE' "$dynamic"
    symbols=$(readelf --dyn-syms --wide "$file")
    expect "stack protector" '__stack_chk_fail' "$symbols"
    called+=$symbols
done
file="All of $*"
expect "fortified functions" '__[a-z]+_chk@' "$called"
expect "checked elements of containers" '__glibcxx_assert_fail' "$called"
