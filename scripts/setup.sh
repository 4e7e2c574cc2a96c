#!/bin/sh
# Installs what a fresh Debian 12 machine lacks to build and test the library.
# Does nothing when everything is there.
set -eu

packages="g++ clang cmake ninja-build make binutils file pkgconf dpkg-dev rapidjson-dev libgtest-dev libgmock-dev libbenchmark-dev libpng-dev libclang-rt-14-dev libssh-dev openssh-server python3-dev python3-pybind11 python3-numpy python3-pytest libcpp-httplib-dev chromium libcephfs-dev ceph-mon ceph-osd ceph-mds ceph-common"
missing=""
for p in $packages; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing="$missing $p"
  fi
done

if [ -n "$missing" ]; then
  echo "setup: installing$missing"
  SUDO=""
  if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq $missing
fi

# The viewer's browser test drives Chromium with puppeteer-core, pinned by its
# package-lock.json.
browser_test="$(dirname "$0")/../tools/tests/browser"
if [ ! -d "$browser_test/node_modules" ] && command -v npm >/dev/null; then
  (cd "$browser_test" && npm ci --no-audit --no-fund --loglevel=error)
fi
