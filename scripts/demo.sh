#!/bin/sh
# The first run: sets up the machine, builds the zsff tool in BUILD_DIR (default
# build/), records a demo measurement into BUILD_DIR/demo-measurement (replacing
# the one of an earlier run), lists it, and draws it into
# BUILD_DIR/demo-measurement.png. Extra arguments go to "zsff record", e.g.
# --seconds 10 or --realtime.
set -eu
cd "$(dirname "$0")/.."
build="${BUILD_DIR:-build}"
scripts/setup.sh
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build" -j 2 --target zsff
rm -rf "$build/demo-measurement"
"$build/tools/zsff" record "$@" "$build/demo-measurement"
echo
"$build/tools/zsff" info "$build/demo-measurement"
echo
printf 'The measurement as a picture: '
"$build/tools/zsff" plot --out "$build/demo-measurement.png" "$build/demo-measurement"
