#!/usr/bin/env bash
# Makes the Debian packages, looks into them, and runs the command from them:
#
#   debian.sh VERSION SOURCE PHOTOGRAPHS SCRATCH
#
# SCRATCH is emptied first.
set -euo pipefail

version=$1 source=$2 photographs=$3 scratch=$4
packages=$source/build/packages
rm -rf "$scratch"
mkdir -p "$scratch"

"$source/scripts/package"
lintian --allow-root --fail-on error,warning "$packages"/*.deb

# expectDependencies PACKAGE EXPRESSION...: each is found in the package's dependencies.
expectDependencies() {
    local package=$1 depends expression
    depends=$(dpkg-deb --field "$packages/${package}_${version}"-*.deb Depends)
    for expression in "${@:2}"; do
        if ! grep -Eq "(^|, )$expression" <<<"$depends"; then
            echo "$package depends on \"$depends\", not on $expression" >&2
            exit 1
        fi
    done
}

expectDependencies libtiomipra1 'libopencv-core[0-9]+ \(>= ' 'libspdlog[0-9]' 'libstdc\+\+6 '
expectDependencies libtiomipra-dev "libtiomipra1 \(= $version-" libopencv-dev
expectDependencies python3-tiomipra "tiomipra \\(= $version-" python3-numpy 'python3 \(<< 3'
expectDependencies tiomipra "libtiomipra1 \(= $version-" libopencv-imgcodecs libopencv-videoio

for package in "$packages"/*.deb; do
    dpkg-deb --extract "$package" "$scratch/unpacked"
done
libraries=$scratch/unpacked/usr/lib/$(dpkg-architecture -q DEB_HOST_MULTIARCH)
test -s "$libraries/pkgconfig/tiomipra.pc"
dynamic=$(find "$scratch/unpacked" -type f -exec readelf -d {} + 2>/dev/null || true)
grep -q NEEDED <<<"$dynamic"
if grep -E 'RPATH|RUNPATH' <<<"$dynamic"; then
    echo "a file of the packages has a search path for libraries of its own" >&2
    exit 1
fi
mapfile -d "" -t shipped < <(find "$scratch/unpacked" -type f \( -name '*.so*' -o -path '*/bin/*' \) -print0)
"$source/tests/package/hardening.sh" "${shipped[@]}"

# Without a system around them, as far as a machine where nothing may be installed allows.
LD_LIBRARY_PATH=$libraries:$libraries/tiomipra "$source/tests/package/command.sh" \
    "$scratch/unpacked/usr/bin/tiomipra" "$version" "$photographs" "$scratch/results"

LD_LIBRARY_PATH=$libraries:$libraries/tiomipra PYTHONPATH=$scratch/unpacked/usr/lib/python3/dist-packages \
    /usr/bin/python3 -B "$source/tests/package/python_module.py" "$version" "$photographs" "$scratch/python"

if [ "$(id -u)" -eq 0 ]; then
    # In a fresh Debian, where nothing but the packages' own dependencies can help them.
    root=$scratch/root
    debootstrap --variant=minbase bookworm "$root"
    mkdir "$root/test"
    cp "$packages"/*.deb "$source"/tests/package/{command.sh,python_module.py,consumer/main.cpp} \
        "$photographs"/{left,right}[01]*.jpg "$photographs/tree.avi" "$root/test"
    chroot "$root" apt-get update -qq
    chroot "$root" sh -c 'DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends /test/*.deb g++ pkg-config' >/dev/null
    chroot "$root" /test/command.sh tiomipra "$version" /test /test/results
    chroot "$root" python3 /test/python_module.py "$version" /test /test/python
    # shellcheck disable=SC2016 # expanded within the root
    chroot "$root" sh -c 'g++ -std=c++17 /test/main.cpp -o /test/consumer \
        $(pkg-config --cflags --libs tiomipra tevo) && /test/consumer &&
        g++ -std=c++17 /usr/share/doc/libtiomipra-dev/examples/depth.cpp -o /test/robot \
        $(pkg-config --cflags --libs tiomipra opencv4)'
    rm -rf "$root"
else
    echo "Not root: the packages are not installed into a clean system."
fi
