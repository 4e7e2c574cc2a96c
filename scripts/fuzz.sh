#!/bin/sh
# Builds the libFuzzer targets with clang (address and undefined sanitizers on)
# and runs each for RUNS inputs (default 20000) from an empty corpus, or for
# SECONDS_EACH (default 60) when that ends first: an input of the zoomer's target
# opens a whole measurement.
set -eu
cd "$(dirname "$0")/.."
build="${BUILD_DIR:-build-fuzz}"
runs="${RUNS:-20000}"
seconds="${SECONDS_EACH:-60}"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_CXX_COMPILER=clang++ -DZSFF_SANITIZE=ON -DZSFF_BUILD_FUZZ=ON \
  -DZSFF_BUILD_TESTS=OFF -DZSFF_BUILD_TOOLS=OFF \
  -DCMAKE_CXX_FLAGS="-fsanitize=fuzzer-no-link"
cmake --build "$build" -j 2
for target in "$build"/fuzz/fuzz_*; do
  [ -x "$target" ] || continue
  corpus="$build/corpus-$(basename "$target")"
  mkdir -p "$corpus"
  echo "fuzz: $(basename "$target") for $runs runs or $seconds s"
  "$target" -runs="$runs" -max_total_time="$seconds" -max_len=4096 "$corpus"
done
