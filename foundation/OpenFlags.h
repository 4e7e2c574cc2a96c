// The POSIX open flags of each of the stores' open modes, for the stores that
// reach files through an open(2)-like call.
#pragma once

#include <fcntl.h>
#include <zsff/FileAccess.h>

namespace zsff {

// -1 for a mode that isn't one.
inline int OpenFlags(FileOpenMode_t mode) {
  switch (mode) {
    case FileModeCreate:
      return O_WRONLY | O_CREAT | O_TRUNC;
    case FileModeReadWrite:
      return O_RDWR | O_CREAT;
    case FileModeAppend:
      return O_WRONLY;  // positioned at the end by the store
    case FileModeRead:
      return O_RDONLY;
    case FileModeCreateNew:
      return O_RDWR | O_CREAT | O_EXCL;
  }
  return -1;
}

}  // namespace zsff
