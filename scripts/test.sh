#!/bin/sh
# Configures, builds and runs the whole test suite in BUILD_DIR (default build/).
# Extra arguments go to cmake's configure step, e.g. -DZSFF_SANITIZE=ON.
set -eu
cd "$(dirname "$0")/.."
build="${BUILD_DIR:-build}"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
cmake --build "$build" -j 2
ctest --test-dir "$build" --output-on-failure -j 2
