// What the local store costs on top of the system calls it makes: 16 KiB
// blocks written and read through CLocalFileAccess and through plain
// write()/read() on the same kind of file, in the same run. The store should
// stay within a few percent of the plain calls; its only extra work is the
// handle lookup.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/PlainWriteBaseline.h"
#include "foundation/LocalFileAccess.h"

namespace {

constexpr unsigned int kBlock = 16 * 1024;
// The file wraps around at this size, so both sides copy to and from pages
// already in the cache and neither is throttled by writeback to the disk.
constexpr long long kFileSize = 1024 * 1024;

using zsff_bench::Scratch;
using zsff_bench::WriteAll;

// A file of kFileSize bytes to read from.
void Fill(const std::string& path) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  std::vector<char> block(kBlock, 'x');
  for (long long done = 0; done < kFileSize; done += kBlock) WriteAll(fd, block.data(), kBlock);
  ::close(fd);
}

void BM_StoreWrite(benchmark::State& state) {
  Scratch scratch;
  zsff::CLocalFileAccess store;
  // Other open files make the lookup search a table, as in a recording.
  std::vector<unsigned int> others(static_cast<std::size_t>(state.range(0)));
  for (unsigned int& other : others)
    store.OpenFile(scratch.WideFile("other.bin"), zsff::FileModeReadWrite, other);
  unsigned int handle = 0;
  if (!store.OpenFile(scratch.WideFile("store.bin"), zsff::FileModeCreate, handle)) std::abort();
  std::vector<char> block(kBlock, 's');
  long long position = 0;
  for (auto _ : state) {
    unsigned int written = 0;
    if (!store.WriteFile(handle, block.data(), kBlock, written)) std::abort();
    if ((position += kBlock) == kFileSize) {
      store.SeekFile(handle, 0, 0);
      position = 0;
    }
  }
  state.SetBytesProcessed(state.iterations() * kBlock);
}

void BM_PlainWrite(benchmark::State& state) {
  Scratch scratch;
  const int fd =
      ::open(scratch.File("plain.bin").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
  std::vector<char> block(kBlock, 'p');
  long long position = 0;
  for (auto _ : state) {
    WriteAll(fd, block.data(), kBlock);
    if ((position += kBlock) == kFileSize) {
      ::lseek(fd, 0, SEEK_SET);
      position = 0;
    }
  }
  ::close(fd);
  state.SetBytesProcessed(state.iterations() * kBlock);
}

void BM_StoreRead(benchmark::State& state) {
  Scratch scratch;
  Fill(scratch.File("store.bin"));
  zsff::CLocalFileAccess store;
  std::vector<unsigned int> others(static_cast<std::size_t>(state.range(0)));
  for (unsigned int& other : others)
    store.OpenFile(scratch.WideFile("store.bin"), zsff::FileModeRead, other);
  unsigned int handle = 0;
  if (!store.OpenFile(scratch.WideFile("store.bin"), zsff::FileModeRead, handle)) std::abort();
  std::vector<char> block(kBlock);
  long long position = 0;
  for (auto _ : state) {
    unsigned int got = 0;
    if (!store.ReadFile(handle, block.data(), kBlock, got)) std::abort();
    if ((position += kBlock) == kFileSize) {
      store.SeekFile(handle, 0, 0);
      position = 0;
    }
  }
  state.SetBytesProcessed(state.iterations() * kBlock);
}

void BM_PlainRead(benchmark::State& state) {
  Scratch scratch;
  Fill(scratch.File("plain.bin"));
  const int fd = ::open(scratch.File("plain.bin").c_str(), O_RDONLY | O_CLOEXEC);
  ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
  std::vector<char> block(kBlock);
  long long position = 0;
  for (auto _ : state) {
    if (::read(fd, block.data(), kBlock) != static_cast<ssize_t>(kBlock)) std::abort();
    if ((position += kBlock) == kFileSize) {
      ::lseek(fd, 0, SEEK_SET);
      position = 0;
    }
  }
  ::close(fd);
  state.SetBytesProcessed(state.iterations() * kBlock);
}

// The cheapest call that still looks a handle up: what the store adds per call
// shows here in nanoseconds, next to a system call that does almost nothing.
void BM_StoreTell(benchmark::State& state) {
  Scratch scratch;
  zsff::CLocalFileAccess store;
  std::vector<unsigned int> others(static_cast<std::size_t>(state.range(0)));
  for (unsigned int& other : others)
    store.OpenFile(scratch.WideFile("tell.bin"), zsff::FileModeReadWrite, other);
  unsigned int handle = 0;
  if (!store.OpenFile(scratch.WideFile("tell.bin"), zsff::FileModeReadWrite, handle)) std::abort();
  for (auto _ : state) {
    unsigned long long position = 0;
    store.TellFile(handle, position);
    benchmark::DoNotOptimize(position);
  }
}

void BM_PlainTell(benchmark::State& state) {
  Scratch scratch;
  const int fd = ::open(scratch.File("tell.bin").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  for (auto _ : state) benchmark::DoNotOptimize(::lseek(fd, 0, SEEK_CUR));
  ::close(fd);
}

// The machine is often shared: with --benchmark_repetitions the minimum time
// is the figure least disturbed by other work, so it is reported beside the
// median (for the rate counters it is the slowest rate instead).
double Fastest(const std::vector<double>& values) {
  return values.empty() ? 0.0 : *std::min_element(values.begin(), values.end());
}

}  // namespace

// The argument is how many other files the store has open besides the measured
// one. Suggested run: --benchmark_repetitions=15 --benchmark_enable_random_interleaving=true

BENCHMARK(BM_PlainWrite)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_StoreWrite)->Arg(0)->Arg(64)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_PlainRead)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_StoreRead)->Arg(0)->Arg(64)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_PlainTell)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_StoreTell)->Arg(0)->Arg(64)->ComputeStatistics("min", Fastest);

BENCHMARK_MAIN();
