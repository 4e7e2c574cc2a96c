// Moving a file's bytes between two ends, whichever side of the mount each
// lies on: the one loop that the store's copies, uploads and downloads share.
#pragma once

#include <cerrno>
#include <vector>

namespace zsff {
namespace ceph {

// Hands everything `read` gives to `write`, a block at a time. Each returns the
// bytes it moved, or a negated errno; `read` returns 0 at the end. 0 when all
// went through, otherwise the first failure's negated errno.
template <typename Read, typename Write>
long Pump(Read read, Write write) {
  std::vector<char> block(1 << 20);
  for (;;) {
    const long got = read(block.data(), static_cast<long>(block.size()));
    if (got <= 0) return got;
    for (long done = 0; done < got;) {
      const long now = write(block.data() + done, got - done);
      if (now <= 0) return now < 0 ? now : -EIO;
      done += now;
    }
  }
}

}  // namespace ceph
}  // namespace zsff
