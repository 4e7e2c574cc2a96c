// Calls into libcephfs with a bound on the caller's wait.
//
// libcephfs waits for a metadata server that stopped answering for as long as
// it takes, and neither ceph_unmount() nor ceph_abort_conn() ends such a call:
// both first wait for the calls in flight (ceph_abort_conn() was still waiting
// a minute after the cluster's daemons were killed). So each call runs on a
// thread of the gate while its caller waits at most the limit. The first call
// that overruns shuts the gate for good: its thread stays inside libcephfs,
// detached, and every later call fails at once. An overrun call may still
// finish after its caller has gone, so a call touches only what it owns: the
// values it captured and the buffer of its thread, which the gate copies from
// and to the caller's memory while the caller waits.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace zsff {
namespace ceph {

class CallGate {
 public:
  explicit CallGate(std::chrono::milliseconds limit);
  // Ends the idle threads; a thread whose call overran is left to itself.
  ~CallGate();
  CallGate(const CallGate&) = delete;
  CallGate& operator=(const CallGate&) = delete;

  // Each returns what the call returned (a count or a negated errno), or
  // -ETIMEDOUT for the call that overran and -ENOTCONN for every one after it.
  template <typename Call>
  long Run(Call call) {
    return Exchange([call](char*) { return static_cast<long>(call()); }, nullptr, nullptr, 0,
                    CopyNothing);
  }
  // `call` gets a copy of the `size` bytes at `in`.
  template <typename Call>
  long Write(Call call, const void* in, std::size_t size) {
    return Exchange([call](char* bytes) { return static_cast<long>(call(bytes)); }, in, nullptr,
                    size, CopyNothing);
  }
  // `call` fills a buffer of `size` bytes; `out` gets as many as it returns.
  template <typename Call>
  long Read(Call call, void* out, std::size_t size) {
    return Exchange([call](char* bytes) { return static_cast<long>(call(bytes)); }, nullptr, out,
                    size, CopyCounted);
  }
  // `call` fills a T; `out` gets it when the call returns 0.
  template <typename T, typename Call>
  long Fetch(Call call, T& out) {
    return Exchange(
        [call](char* bytes) { return static_cast<long>(call(reinterpret_cast<T*>(bytes))); },
        nullptr, &out, sizeof(T), CopyWhole);
  }

  // Whether a call overran: the cluster is taken for gone.
  bool Shut() const { return m_Shut.load(std::memory_order_acquire); }
  std::chrono::milliseconds Limit() const { return m_Limit; }

 private:
  enum CopyOut_t { CopyNothing, CopyCounted, CopyWhole };
  struct Worker;

  long Exchange(const std::function<long(char*)>& call, const void* in, void* out,
                std::size_t size, CopyOut_t copy);
  std::shared_ptr<Worker> Take();

  const std::chrono::milliseconds m_Limit;
  std::atomic<bool> m_Shut{false};
  std::mutex m_IdleLock;
  std::vector<std::shared_ptr<Worker>> m_Idle;
};

}  // namespace ceph
}  // namespace zsff
