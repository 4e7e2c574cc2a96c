#!/bin/sh
# Kills a recording N times (default 1000) at random moments and puts each right
# with the end-up, as the crash test does 100 times in the suite; prints the kills,
# the measurements repaired and the samples lost beyond the block in flight.
# ZSFF_CRASH_SEED replays a run; BUILD_DIR (default build/) holds test_crash.
set -eu
cd "$(dirname "$0")/.."
build="${BUILD_DIR:-build}"
cmake --build "$build" --target test_crash
ZSFF_CRASH_KILLS="${1:-1000}" "$build/test_crash" --gtest_filter='KilledRecording.*' \
  --gtest_brief=1
