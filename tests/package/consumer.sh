#!/usr/bin/env bash
# Builds and runs the consumer in one of five ways:
#
#   consumer.sh installed|moved|static|subdirectory|pkgconfig BUILD SOURCE SCRATCH
#
# BUILD is a finished build of the tree SOURCE; SCRATCH is emptied first.
set -euo pipefail

way=$1 build=$2 source=$3 scratch=$4
consumer=$source/tests/package/consumer
rm -rf "$scratch"
mkdir -p "$scratch"

setting() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }

compiler=$(setting CMAKE_CXX_COMPILER)
options=(-DCMAKE_PREFIX_PATH="$scratch/tree")
if [ "$way" = static ]; then
    cmake -S "$source" -B "$scratch/libraries" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
        -DBUILD_SHARED_LIBS=OFF -DTIOMIPRA_BUILD_APPS=OFF -DTIOMIPRA_BUILD_TESTS=OFF \
        -DTIOMIPRA_BUILD_EXAMPLES=OFF
    cmake --build "$scratch/libraries"
    build=$scratch/libraries
fi
if [ "$way" = subdirectory ]; then
    options=(-DTIOMIPRA_SOURCE="$source" -DBUILD_SHARED_LIBS="$(setting BUILD_SHARED_LIBS)")
elif [ "$way" = installed ]; then
    cmake --install "$build" --prefix "$scratch/tree"
else
    cmake --install "$build" --prefix "$scratch/first"
    mv "$scratch/first" "$scratch/tree"
fi

if [ "$way" = pkgconfig ]; then
    library=$(dirname "$(find "$scratch/tree" -name tiomipra.pc)")
    export PKG_CONFIG_PATH=$library LD_LIBRARY_PATH=$library/..
    # shellcheck disable=SC2046 # the flags are separate words
    "$compiler" -std=c++17 "$consumer/main.cpp" -o "$scratch/consumer" \
        $(pkg-config --cflags --libs tiomipra tevo)
    "$scratch/consumer"
else
    cmake -S "$consumer" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_CXX_COMPILER="$compiler" "${options[@]}"
    cmake --build "$scratch/build"
    "$scratch/build/consumer"
fi
