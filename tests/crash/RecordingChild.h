// The recording of the crash tests in a process of its own, which the test kills
// when it likes: the child tells every step through a pipe, one byte a step, so
// that the parent knows what was handed over to the library before the kill.
#pragma once

#include <sys/types.h>

#include <filesystem>

#include "crash/Workload.h"
#include "support/ChildProcess.h"

namespace zsff_test {

class RecordingChild {
 public:
  // What the child says besides the blocks it handed over.
  static constexpr char kStep = 'p';      // another step of the recording
  static constexpr char kFinished = 'f';  // the recording is done
  static constexpr char kFailed = 'x';    // a step of the library failed

  // Forks the child, which records `plan` into `parent` and then waits to be
  // killed.
  RecordingChild(const std::filesystem::path& parent, const WorkloadPlan& plan);
  RecordingChild(const RecordingChild&) = delete;
  RecordingChild& operator=(const RecordingChild&) = delete;

  // Waits for the child's next word; 0 when the pipe ended or stayed silent for
  // a minute.
  char Next();
  // Kills the child with SIGKILL, reaps it, and takes in what it said before.
  void Kill();

  const Handed& HandedOver() const { return m_Handed; }
  bool Failed() const { return m_Failed; }

 private:
  void Take(char word);

  const WorkloadPlan& m_Plan;
  Signal m_Pipe;
  Reaper m_Reaper{-1};
  Handed m_Handed;
  bool m_Failed = false;
};

}  // namespace zsff_test
