// What the fuzz targets share: a scratch directory that goes when the target
// ends, and the writing of an input as a whole file, on the disk or on a store.
#pragma once

#include <fcntl.h>
#include <unistd.h>
#include <zsff/Diagnostics.h>
#include <zsff/FileAccess.h>
#include <zsff/MemoryFileAccess.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace zsff_fuzz {

// A fresh directory named after `name`, removed at exit. Every input rewrites
// small files; on ext4 that starts a writeback at each close, which would make
// the disk, not the code, the limit: a memory file system avoids it, and TMPDIR
// still decides when it is set.
inline std::string ScratchDirectory(const char* name) {
  std::filesystem::path base = std::filesystem::temp_directory_path();
  std::error_code ec;
  if (std::getenv("TMPDIR") == nullptr && std::filesystem::is_directory("/dev/shm", ec))
    base = "/dev/shm";
  std::string pattern = (base / (std::string("zsff-fuzz-") + name + "-XXXXXX")).string();
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  static std::string s_Directory;
  s_Directory = pattern;
  std::atexit([] { std::filesystem::remove_all(s_Directory); });
  return pattern;
}

// The library's diagnostic lines would drown the fuzzer's own output.
inline void QuietDiagnostics() {
  zsff::SetDiagnosticSink([](zsff::DiagnosticLevel_t, const std::string&) {});
}

// `size` bytes of `data` as the whole file at `path` on the disk.
inline void WriteInput(const std::string& path, const uint8_t* data, size_t size) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) std::abort();
  size_t done = 0;
  while (done < size) {
    const ssize_t n = ::write(fd, data + done, size - done);
    if (n <= 0) std::abort();
    done += static_cast<size_t>(n);
  }
  ::close(fd);
}

// The memory store of a target that feeds one channel's files, kept for the whole
// run: made at the first input, holding the empty directory "/c" they go in, with
// the diagnostics quieted.
inline zsff::CMemoryFileAccess& ChannelStore() {
  static zsff::CMemoryFileAccess* const s_Store = [] {
    QuietDiagnostics();
    auto* store = new zsff::CMemoryFileAccess();
    if (!store->CreateDirectory(u"/c")) std::abort();
    return store;
  }();
  return *s_Store;
}

// `size` bytes of `data` as the whole file at `path` on `store`.
inline void PutFile(zsff::CAbstractFileAccess& store, const std::u16string& path, const void* data,
                    size_t size) {
  unsigned int handle = 0, written = 0;
  if (!store.OpenFile(path, zsff::FileModeCreate, handle)) std::abort();
  if (size > 0 && !store.WriteFile(handle, data, static_cast<unsigned int>(size), written))
    std::abort();
  store.CloseFile(handle, true);
}

}  // namespace zsff_fuzz
