// What the benchmarks that measure the library against plain write()/read()
// share: a scratch directory of their own and the plain files written beside it.
#pragma once

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace zsff_bench {

// A fresh directory under the system's temporary one, removed with all it holds.
class Scratch {
 public:
  Scratch() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zsff-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    m_Dir = pattern;
  }
  ~Scratch() {
    std::error_code ec;
    std::filesystem::remove_all(m_Dir, ec);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::filesystem::path& Dir() const { return m_Dir; }
  std::string File(const std::string& name) const { return (m_Dir / name).string(); }
  std::u16string Wide() const { return Ascii(m_Dir.string()); }
  std::u16string WideFile(const std::string& name) const { return Ascii(File(name)); }
  // Empties the directory for the next round, keeping the directory itself.
  void Empty() const {
    for (const auto& entry : std::filesystem::directory_iterator(m_Dir))
      std::filesystem::remove_all(entry.path());
  }

 private:
  static std::u16string Ascii(const std::string& path) {
    return std::u16string(path.begin(), path.end());  // the scratch path is ASCII
  }
  std::filesystem::path m_Dir;
};

// `count` new files in the scratch directory, "<prefix><n>", open for writing.
inline std::vector<int> CreatePlainFiles(const Scratch& scratch, int count,
                                         const std::string& prefix) {
  std::vector<int> files;
  for (int n = 0; n < count; ++n) {
    const std::string path = scratch.File(prefix + std::to_string(n));
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) std::abort();
    files.push_back(fd);
  }
  return files;
}

inline void ClosePlainFiles(std::vector<int>& files) {
  for (int fd : files) ::close(fd);
  files.clear();
}

// A plain write that the baseline cannot afford to have fail silently.
inline void WriteAll(int fd, const void* data, std::size_t bytes) {
  if (::write(fd, data, bytes) != static_cast<ssize_t>(bytes)) std::abort();
}

// main() of a benchmark that reports its comparison with the plain calls through
// a reporter of its own.
inline int RunBenchmarks(int argc, char** argv, benchmark::BenchmarkReporter& reporter) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

}  // namespace zsff_bench
