// The loop of a store's read or write: a transfer that one system call may
// leave short goes on until it is whole, ends, or fails.
#pragma once

namespace zsff {

// Moves `size` bytes by calls of `step(done, left)`, each of which moves some of
// the `left` bytes after the first `done` and returns how many, 0 at the file's
// end, or a negative number for a failure: one call may move fewer than asked.
// `size` when all went, else what the last call returned.
template <typename Step>
long TransferAll(unsigned int size, Step step) {
  for (unsigned int done = 0; done < size;) {
    const long moved = step(done, size - done);
    if (moved <= 0) return moved;
    done += static_cast<unsigned int>(moved);
  }
  return size;
}

}  // namespace zsff
