#!/bin/sh
# Builds the library and the test programs that run it on several threads with
# ThreadSanitizer, and runs their tests with threads: the stores shared by
# threads, a reader thread following a recording section, and a display thread
# zooming a record that another thread records.
set -eu
cd "$(dirname "$0")/.."
build="${BUILD_DIR:-build-tsan}"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZSFF_SANITIZE=thread \
  -DZSFF_BUILD_TOOLS=OFF
cmake --build "$build" -j 2 --target test_foundation test_section test_zoom
export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1"
"$build"/test_foundation \
  --gtest_filter='StoreFiles/*.CreateNewSucceedsOnceEvenWhenThreadsRace:StoreFiles/*.TransfersRunWhileOtherThreadsOpenAndClose'
"$build"/test_section --gtest_filter='RecordSectionRead.ReaderOnAnotherThreadFollowsARecordingToItsEnd'
"$build"/test_zoom --gtest_filter='RecordZoomerTest.ADisplayThreadFollowsTheRecordingThread'
