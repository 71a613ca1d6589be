#!/usr/bin/env bash
# Only symbols of one namespace leave a shared library:
#
#   exported_symbols.sh LIBRARY NAMESPACE
set -euo pipefail

library=$1 namespace=$2
# The name of the symbol version (type A) and the labels of the sanitizers are no part of the code.
symbols=$(nm --dynamic --defined-only --demangle "$library" | sed -E 's/^[0-9a-f]+ //' | grep -v '^A ')
own="^[A-Za-z] (.* (for|to) )?$namespace::"

if ! grep -Eq "$own" <<<"$symbols"; then
    echo "$library exports nothing of $namespace::" >&2
    exit 1
fi
if foreign=$(grep -Ev "$own" <<<"$symbols"); then
    printf '%s exports more than %s:::\n%s\n' "$library" "$namespace" "$foreign" >&2
    exit 1
fi
