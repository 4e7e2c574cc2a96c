#include "crash/RecordingChild.h"

#include <signal.h>
#include <unistd.h>

namespace zsff_test {

namespace {

// A block of `channel` of `record` handed over, as one letter.
char BlockWord(std::size_t record, std::size_t channel) {
  return static_cast<char>('A' + record * kCrashChannels + channel);
}

}  // namespace

RecordingChild::RecordingChild(const std::filesystem::path& parent, const WorkloadPlan& plan)
    : m_Plan(plan), m_Handed(plan) {
  const pid_t child = fork();
  if (child < 0) {
    ADD_FAILURE() << "fork failed";
    return;
  }
  if (child == 0) {
    m_Pipe.KeepSendingEnd();
    Signal& pipe = m_Pipe;
    const bool recorded = RecordWorkload(
        parent, plan, [](zsff::CRecordSignalTree&) {},
        [&](std::size_t record, int channel) {
          return pipe.Send(channel < 0 ? kStep
                                       : BlockWord(record, static_cast<std::size_t>(channel)));
        });
    pipe.Send(recorded ? kFinished : kFailed);
    for (;;) pause();
  }
  m_Pipe.KeepReceivingEnd();
  m_Reaper.Pid = child;
}

char RecordingChild::Next() {
  char word = 0;
  if (!m_Pipe.Receive(word)) return 0;
  Take(word);
  return word;
}

void RecordingChild::Kill() {
  if (m_Reaper.Pid > 0) kill(m_Reaper.Pid, SIGKILL);
  m_Reaper.Wait();
  // The child is gone with its end of the pipe: what it said is all there.
  while (m_Pipe.Pending() && Next() != 0) {
  }
}

void RecordingChild::Take(char word) {
  if (word == kFailed) m_Failed = true;
  if (word < 'A' || word >= BlockWord(m_Plan.Records.size(), 0)) return;
  const std::size_t index = static_cast<std::size_t>(word - 'A');
  m_Handed.Add(index / kCrashChannels, index % kCrashChannels);
}

}  // namespace zsff_test
