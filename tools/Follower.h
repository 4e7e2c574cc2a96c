// The reader of "zsff follow": beside a recorder in another process, it reads
// one channel of each record as the samples reach the disk, and tells at each
// poll how far it has read, where the live end stands and what the reader's
// state is.
#pragma once

#include <zsff/ChannelId.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordSignalTree.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Place.h"
#include "StallWatch.h"

namespace zsff_tools {

struct FollowOptions {
  std::filesystem::path Directory;
  long long Channel = -1;  // channel number; -1: the record's first channel
  long long Analyzer = -1;
  double Timeout = -1.0;  // seconds; -1: none
  double Interval = 0.2;  // seconds between polls
  double Stall = 10.0;    // seconds without a change before giving up; 0: never
  bool Recorded = false;  // the recorded units instead of volts
};

class Follower {
 public:
  explicit Follower(const FollowOptions& options)
      : m_Options(options), m_Start(Clock::now()), m_Stall(options.Stall) {}
  ~Follower() {
    CloseRecord();
    zsff::CRecordSignalTree::CloseSignalTree(m_Tree);
  }
  Follower(const Follower&) = delete;
  Follower& operator=(const Follower&) = delete;

  int Run();

 private:
  using Clock = std::chrono::steady_clock;
  // Why the follower stopped before the end of the record.
  enum Outcome_t { OutcomeEnd, OutcomeInterrupted, OutcomeTimedOut, OutcomeStalled };

  // Waits until the record to follow is there and opens it on the channel to
  // follow: at first the last record of the measurement, while it is
  // recorded; then the record after the one followed, recorded or not. False
  // when there is none to follow, with ExitOk in `code` when the measurement
  // has finished since.
  bool WaitForRecord(int& code);
  // The record to follow next among `records`; null while there is none.
  const zsff::MetaDataRecord* NextRecord(const std::vector<zsff::MetaDataRecord>& records,
                                         std::string& why) const;
  void CloseRecord();
  // Opens the record of `entry`; false (with the record closed again) while it
  // hasn't started, or lacks the channel.
  bool TryOpen(const zsff::MetaDataRecord& entry, std::string& why);
  int Follow();
  // Reads what has arrived, MostAPoll() at most; the samples read, with
  // the library's text in `error` when a read failed.
  unsigned long long ReadArrived(std::string& error);
  // Moves the reader to the oldest sample the ring kept.
  bool JumpToOldest();
  // What shows that the record grows, or that there is more of it to read: the
  // reader's position, the live end, and the temporary record file, which the
  // recorder rewrites as it goes and a crash leaves behind.
  std::string SignOfLife() const;
  // Whether the measurement file says that the record has stopped: a reader
  // sees the end as soon as the recorder's files are complete, a moment before
  // the recorder has written its stop into that file.
  bool RecordStopped() const;
  // Whether the measurement's ".zff" header is there: "zsff record" (like any
  // host) keeps it while the measurement is unfinished, between records too.
  bool MeasurementUnfinished() const;
  bool Expired() const;
  void Pause() const;
  unsigned long long MostAPoll() const;
  int Summary(Outcome_t outcome);

  const FollowOptions& m_Options;
  Place m_Place;  // of the measurement's directory, found as the following begins
  Clock::time_point m_Start;
  StallWatch m_Stall;
  int m_Followed = 0;  // records followed to their end
  std::unique_ptr<zsff::CRecordSignalTree> m_Tree;
  int m_Handle = 0;
  unsigned short m_RecordNumber = 0;
  zsff::CChannelID m_Channel;
  double m_Rate = 0.0;
  std::string m_Unit;
  std::vector<float> m_Buffer;
  // Where the reader stands, counted from the record's first sample (also when
  // the ring has dropped it): the position form of a growing record.
  unsigned long long m_Position = 0;
  unsigned long long m_Read = 0;
  unsigned long long m_Skipped = 0;
  float m_Minimum = 0.0f;  // of the samples of the current poll
  float m_Maximum = 0.0f;
};

}  // namespace zsff_tools
