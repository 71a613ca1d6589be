#!/usr/bin/env bash
# Installs the checkout by pip into an environment of its own, and uses the module from there:
#
#   pip.sh PYTHON VERSION SOURCE PHOTOGRAPHS SCRATCH
#
# SCRATCH is emptied first.
set -euo pipefail

python=$1 version=$2 source=$3 photographs=$4 scratch=$5
rm -rf "$scratch"
mkdir -p "$scratch/source"

# A copy, as pip builds within the tree.
git -C "$source" ls-files -z | tar -C "$source" --null --files-from=- --create | tar -C "$scratch/source" --extract
"$python" -m venv --system-site-packages "$scratch/environment"
"$scratch/environment/bin/pip" install --quiet --no-build-isolation --no-deps "$scratch/source"
rm -rf "$scratch/source"
cd "$scratch"
"$scratch/environment/bin/python" "$source/tests/package/python_module.py" "$version" "$photographs" "$scratch/results"
