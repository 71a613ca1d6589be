#!/usr/bin/env bash
# Makes the Debian packages, looks into them, and runs the command from them:
#
#   debian.sh BUILD SOURCE PHOTOGRAPHS SCRATCH
#
# BUILD is a finished build of the tree SOURCE; SCRATCH is emptied first.
set -euo pipefail

build=$1 source=$2 photographs=$3 scratch=$4
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")
rm -rf "$scratch"
mkdir -p "$scratch/packages"

# Built for /usr, as that decides where libraries go on Debian.
cmake -S "$source" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_CXX_COMPILER="$compiler" \
    -DTIOMIPRA_BUILD_TESTS=OFF -DTIOMIPRA_BUILD_EXAMPLES=OFF
cmake --build "$scratch/build"
cpack --config "$scratch/build/CPackConfig.cmake" -B "$scratch/packages"

# expectDependency PACKAGE EXPRESSION...: each is found in the package's dependencies.
expectDependencies() {
    local package=$1 depends expression
    depends=$(dpkg-deb --field "$scratch/packages/${package}_${version}"_*.deb Depends)
    for expression in "${@:2}"; do
        if ! grep -Eq "(^|, )$expression" <<<"$depends"; then
            echo "$package depends on \"$depends\", not on $expression" >&2
            exit 1
        fi
    done
}

expectDependencies libtiomipra1 'libopencv-core[0-9]+ \(>= ' 'libspdlog[0-9]' 'libstdc\+\+6 '
expectDependencies libtiomipra-dev "libtiomipra1 \(= $version\)" libopencv-dev
expectDependencies tiomipra "libtiomipra1 \(= $version\)" libopencv-imgcodecs libopencv-videoio

# Without a system around them, as far as a machine where nothing may be installed allows.
for package in "$scratch"/packages/*.deb; do
    dpkg-deb --extract "$package" "$scratch/unpacked"
done
"$source/tests/package/command.sh" "$scratch/unpacked/usr/bin/tiomipra" "$version" \
    "$photographs" "$scratch/results"

if [ "$(id -u)" -eq 0 ]; then
    # In a fresh Debian, where nothing but the packages' own dependencies can help them.
    root=$scratch/root
    debootstrap --variant=minbase bookworm "$root"
    mkdir "$root/test"
    cp "$scratch"/packages/*.deb "$source"/tests/package/{command.sh,consumer/main.cpp} \
        "$photographs"/{left,right}[01]*.jpg "$photographs/tree.avi" "$root/test"
    chroot "$root" apt-get update -qq
    chroot "$root" sh -c 'DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends /test/*.deb g++ pkg-config' >/dev/null
    chroot "$root" /test/command.sh tiomipra "$version" /test /test/results
    # shellcheck disable=SC2016 # expanded within the root
    chroot "$root" sh -c 'g++ -std=c++17 /test/main.cpp -o /test/consumer \
        $(pkg-config --cflags --libs tiomipra tevo) && /test/consumer'
    rm -rf "$root"
else
    echo "Not root: the packages are not installed into a clean system."
fi
