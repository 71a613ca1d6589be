#!/usr/bin/env bash
# Makes a source distribution of the checkout, installs it by pip into an environment of its own, and
# uses the module from there:
#
#   pip.sh PYTHON VERSION SOURCE PHOTOGRAPHS SCRATCH
#
# SCRATCH is emptied first.
set -euo pipefail

python=$1 version=$2 source=$3 photographs=$4 scratch=$5
rm -rf "$scratch"
mkdir -p "$scratch/source"

# A copy, as setuptools writes within the tree.
git -C "$source" ls-files -z | tar -C "$source" --null --files-from=- --create | tar -C "$scratch/source" --extract
(cd "$scratch/source" && "$python" setup.py --quiet sdist --dist-dir "$scratch")
rm -rf "$scratch/source"
"$python" -m venv --system-site-packages "$scratch/environment"
"$scratch/environment/bin/pip" install --quiet --no-build-isolation --no-deps "$scratch"/tiomipra-*.tar.gz
cd "$scratch"
"$scratch/environment/bin/python" "$source/tests/package/python_module.py" "$version" "$photographs" "$scratch/results"
