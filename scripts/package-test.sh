#!/bin/sh
# Installs the library as a packager would and builds hosts outside the tree
# against it, from the static build in BUILD_DIR (default build/, which
# scripts/test.sh has built) and from a shared build in build-shared/: one host
# finds it with find_package, one with pkg-config. Then builds the .deb and
# checks what it holds. With ZSFF_INSTALL_DEB=1 (CI's fresh machine) the .deb is
# also installed with apt-get, used by a host, and removed again.
set -eu
cd "$(dirname "$0")/.."
source_dir=$(pwd)
static_build=${BUILD_DIR:-build}
shared_build=build-shared
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { echo "package-test: $*" >&2; exit 1; }

# The installed headers name no private dependency, and every class they define
# is exported.
check_headers() {
  if grep -lE '#include <(rapidjson|png|libssh)' "$1"/include/zsff/*.h; then
    fail "an installed header includes a private dependency"
  fi
  if grep -nE '^(class|struct) [A-Za-z_0-9]+( final)? *[:{]' "$1"/include/zsff/*.h; then
    fail "a public class isn't marked ZSFF_API"
  fi
}

# Every symbol the shared library exports is declared ZSFF_API by a public header.
check_exports() {
  nm -D --defined-only -C "$1" | cut -d' ' -f3- |
    sed -E 's/^(typeinfo name for|typeinfo for|vtable for|non-virtual thunk to) //' >"$work/exports"
  if grep -v '^zsff::' "$work/exports"; then fail "symbols outside namespace zsff are exported"; fi
  for name in $(grep -o '^zsff::[A-Za-z_0-9]*' "$work/exports" | sort -u | sed 's/^zsff:://'); do
    grep -qE "(class|struct) ZSFF_API $name\b|ZSFF_API .*\b$name\(" "$2"/include/zsff/*.h ||
      fail "zsff::$name is exported but not declared ZSFF_API"
  done
}

# Builds and runs the host with CMake (extra arguments go to its configure step).
run_cmake_host() {
  prefix=$1 name=$2
  shift 2
  cmake -S tests/package -B "$work/$name" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" "$@" >/dev/null
  cmake --build "$work/$name" >/dev/null
  mkdir "$work/$name/data"
  LD_LIBRARY_PATH="$prefix/lib:$prefix/lib/x86_64-linux-gnu" "$work/$name/consumer" "$work/$name/data"
}

# Builds and runs the host with the compiler and pkg-config alone.
run_pkg_config_host() {
  prefix=$1 name=$2
  export PKG_CONFIG_PATH="$(dirname "$(find "$prefix/lib" -name zsff.pc)")"
  c++ -std=c++17 -o "$work/$name" tests/package/consumer.cpp $(pkg-config --cflags --libs zsff)
  mkdir "$work/$name-data"
  LD_LIBRARY_PATH="$prefix/lib:$prefix/lib/x86_64-linux-gnu" "$work/$name" "$work/$name-data"
  unset PKG_CONFIG_PATH
}

cmake --install "$static_build" --prefix "$work/static" >/dev/null
check_headers "$work/static"
[ -z "$(find "$work/static" -name '*.so*')" ] || fail "the static build installed a shared library"
run_cmake_host "$work/static" static-cmake
run_pkg_config_host "$work/static" static-pkg-config

cmake -S . -B "$shared_build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=ON \
  -DZSFF_BUILD_TESTS=OFF -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
cmake --build "$shared_build" -j 2 --target ZentrelSignalFlatFormat ZentrelSignalFlatFormat_shared zsff
cmake --install "$shared_build" --prefix "$work/shared" >/dev/null
check_headers "$work/shared"
library=$(find "$work/shared" -name 'libZentrelSignalFlatFormat.so.*.*.*')
soname=$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
[ "$soname" = "libZentrelSignalFlatFormat.so.$(echo "$library" | sed -E 's/.*\.so\.([0-9]+\.[0-9]+)\..*/\1/')" ] ||
  fail "unexpected soname $soname"
check_exports "$library" "$work/shared"
run_cmake_host "$work/shared" shared-cmake
ldd "$work/shared-cmake/consumer" | grep -q "$soname" || fail "the CMake host isn't linked with $soname"
run_cmake_host "$work/shared" shared-cmake-static -DZSFF_LINK=static
run_pkg_config_host "$work/shared" shared-pkg-config
"$work/shared/bin/zsff" --version | grep -qx "zsff [0-9]*\.[0-9]*\.[0-9]*" || fail "zsff --version"

(cd "$shared_build" && cpack -G DEB >/dev/null)
deb=$(ls "$shared_build"/zsff_*_*.deb)
dpkg-deb -c "$deb" | awk '{print $6}' >"$work/deb-files"
for file in ./usr/bin/zsff ./usr/include/zsff/zsff.h ./usr/include/zsff/Version.h \
    ./usr/lib/x86_64-linux-gnu/libZentrelSignalFlatFormat.a ./usr/lib/x86_64-linux-gnu/$soname \
    ./usr/lib/x86_64-linux-gnu/cmake/zsff/zsffConfig.cmake \
    ./usr/lib/x86_64-linux-gnu/pkgconfig/zsff.pc; do
  grep -qx "$file" "$work/deb-files" || fail "$deb lacks $file"
done
depends=$(dpkg-deb -f "$deb" Depends)
for package in libc6 libstdc++6 libpng16-16; do
  echo "$depends" | grep -q "$package" || fail "$deb doesn't depend on $package: $depends"
done
echo "package-test: $deb holds $(wc -l <"$work/deb-files") entries; depends on $depends"

if [ "${ZSFF_INSTALL_DEB:-0}" = 1 ]; then
  SUDO=""
  if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
  $SUDO apt-get install -y -qq "./$deb" >/dev/null
  [ "$(zsff --version)" = "$("$work/shared/bin/zsff" --version)" ] || fail "the installed zsff"
  run_pkg_config_host /usr installed-pkg-config
  $SUDO apt-get purge -y -qq zsff >/dev/null
fi
echo "package-test: passed"
