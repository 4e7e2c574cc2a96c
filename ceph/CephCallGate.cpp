#include "ceph/CephCallGate.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <thread>

namespace zsff {
namespace ceph {

struct CallGate::Worker {
  enum State_t { Idle, Calling, Done, Stopping };

  std::mutex Lock;
  // Each side waits on its own, and is woken after the other let go of the
  // lock, so that a wake-up never runs into a held mutex.
  std::condition_variable ToThread, ToCaller;
  State_t State = Idle;
  bool Abandoned = false;  // its caller gave up: nobody waits for the result
  std::function<long(char*)> Call;
  std::vector<char> Buffer;
  long Result = 0;
  std::thread Thread;

  // The thread holds its worker: an abandoned one outlives the gate.
  static void Serve(std::shared_ptr<Worker> self) {
    std::unique_lock<std::mutex> lock(self->Lock);
    for (;;) {
      self->ToThread.wait(lock,
                          [&] { return self->State == Calling || self->State == Stopping; });
      if (self->State == Stopping) return;
      lock.unlock();
      const long result = self->Call(self->Buffer.data());
      lock.lock();
      if (self->Abandoned) return;
      self->Result = result;
      self->State = Done;
      lock.unlock();
      self->ToCaller.notify_one();
      lock.lock();
    }
  }
};

CallGate::CallGate(std::chrono::milliseconds limit) : m_Limit(limit) {}

CallGate::~CallGate() {
  for (const std::shared_ptr<Worker>& worker : m_Idle) {
    {
      std::lock_guard<std::mutex> guard(worker->Lock);
      worker->State = Worker::Stopping;
    }
    worker->ToThread.notify_one();
    worker->Thread.join();
  }
}

std::shared_ptr<CallGate::Worker> CallGate::Take() {
  {
    std::lock_guard<std::mutex> guard(m_IdleLock);
    if (!m_Idle.empty()) {
      std::shared_ptr<Worker> worker = std::move(m_Idle.back());
      m_Idle.pop_back();
      return worker;
    }
  }
  // As many threads as calls ever ran at once.
  auto worker = std::make_shared<Worker>();
  worker->Thread = std::thread(Worker::Serve, worker);
  return worker;
}

long CallGate::Exchange(const std::function<long(char*)>& call, const void* in, void* out,
                        std::size_t size, CopyOut_t copy) {
  if (Shut()) return -ENOTCONN;
  std::shared_ptr<Worker> worker = Take();
  std::unique_lock<std::mutex> lock(worker->Lock);
  if (worker->Buffer.size() < size) worker->Buffer.resize(size);
  if (in != nullptr && size != 0) std::memcpy(worker->Buffer.data(), in, size);
  worker->Call = call;
  worker->State = Worker::Calling;
  lock.unlock();
  worker->ToThread.notify_one();
  lock.lock();
  if (!worker->ToCaller.wait_for(lock, m_Limit, [&] { return worker->State == Worker::Done; })) {
    worker->Abandoned = true;
    worker->Thread.detach();
    m_Shut.store(true, std::memory_order_release);
    return -ETIMEDOUT;
  }
  const long result = worker->Result;
  if (copy == CopyCounted && result > 0)
    std::memcpy(out, worker->Buffer.data(), std::min(static_cast<std::size_t>(result), size));
  if (copy == CopyWhole && result == 0) std::memcpy(out, worker->Buffer.data(), size);
  worker->State = Worker::Idle;
  worker->Call = nullptr;  // the captured paths go now, not at the next call
  lock.unlock();
  std::lock_guard<std::mutex> guard(m_IdleLock);
  m_Idle.push_back(std::move(worker));
  return result;
}

}  // namespace ceph
}  // namespace zsff
