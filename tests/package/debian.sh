#!/usr/bin/env bash
# Makes the Debian packages, looks into them, and runs the command from them:
#
#   debian.sh BUILD SOURCE SCRATCH
#
# BUILD is a finished build of the tree SOURCE; SCRATCH is emptied first.
set -euo pipefail

build=$1 source=$2 scratch=$3
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")
rm -rf "$scratch"
mkdir -p "$scratch/packages"

fail() {
    echo "$*" >&2
    exit 1
}

makePackages() {
    # Built for /usr, as that decides where libraries go on Debian.
    cmake -S "$source" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_CXX_COMPILER="$compiler" \
        -DTIOMIPRA_BUILD_TESTS=OFF -DTIOMIPRA_BUILD_EXAMPLES=OFF
    cmake --build "$scratch/build"
    cpack --config "$scratch/build/CPackConfig.cmake" -B "$scratch/packages"
}

# expectDependency PACKAGE EXPRESSION...: each is found in the package's dependencies.
expectDependencies() {
    local package=$1 depends expression
    depends=$(dpkg-deb --field "$scratch/packages/${package}_${version}"_*.deb Depends)
    for expression in "${@:2}"; do
        grep -Eq "(^|, )$expression" <<<"$depends" ||
            fail "$package depends on \"$depends\", not on $expression"
    done
}

# The command as a user meets it: alone, and with what it loads on demand.
runCommand() {
    "$@" tiomipra --version | grep -x "tiomipra $version"
}

runUnpacked() {
    local package
    for package in "$scratch"/packages/*.deb; do dpkg-deb --extract "$package" "$scratch/unpacked"; done
    runCommand env PATH="$scratch/unpacked/usr/bin:$PATH"
}

runInstalled() {
    local root=$scratch/root
    debootstrap --variant=minbase bookworm "$root"
    mkdir "$root/packages"
    cp "$scratch"/packages/*.deb "$root/packages"
    chroot "$root" apt-get update -qq
    chroot "$root" sh -c 'DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends /packages/*.deb' >/dev/null
    runCommand chroot "$root"
    rm -rf "$root"
}

makePackages
expectDependencies libtiomipra1 'libopencv-core[0-9]+ \(>= ' 'libspdlog[0-9]' 'libstdc\+\+6 '
expectDependencies libtiomipra-dev "libtiomipra1 \(= $version\)" libopencv-dev
expectDependencies tiomipra "libtiomipra1 \(= $version\)" libopencv-imgcodecs libopencv-videoio
runUnpacked
if [ "$(id -u)" -eq 0 ]; then
    runInstalled
else
    echo "Not root: the packages are not installed into a clean system."
fi
