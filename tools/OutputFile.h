// Where a command writes its result: a file it creates, or standard output for
// "-". Failures come back as one line that names the file and gives the
// operating system's reason, "out.csv: No space left on device".
#pragma once

#include <cstdio>
#include <string>

namespace zsff_tools {

class OutputFile {
 public:
  OutputFile() = default;
  // Closes what is still open; a file not closed by Close is removed, being
  // unfinished.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // "-" is standard output; any other path is created, or replaced.
  bool Open(const std::string& path, std::string& error);
  std::FILE* Stream() const { return m_File; }
  bool IsStandardOutput() const { return m_Path == "-"; }
  const std::string& Path() const { return m_Path; }

  bool Write(const void* data, std::size_t size, std::string& error);
  bool Write(const std::string& text, std::string& error) {
    return Write(text.data(), text.size(), error);
  }
  // Whether writing has failed so far, with the reason in `error`: a stream
  // that buffers fails on a later call than the one that filled the disk. Ask
  // right after writing, before errno changes.
  bool Failed(std::string& error);
  // Flushes and closes; a file that failed is removed (a device, such as
  // /dev/full, stays).
  bool Close(std::string& error);

 private:
  void Discard();
  void RemoveFile() const;

  std::FILE* m_File = nullptr;
  std::string m_Path;
};

}  // namespace zsff_tools
