// The reading half of a record section: seeking, reading raw or converted
// samples, where each channel's reader stands, the state changes and notices of
// reading, and following a recording that another section carries on.
//
// Internal: each CRecordSection makes one for itself and forwards its reading
// operations to it; the reader lives as long as its section. Each failing call
// leaves its text in the section's last error. A recording section and a reading
// one on the same record may run on two threads: the reader meets the recorder
// only in the files and through the section's owner.
#pragma once

#include <zsff/AbstractRecordSection.h>

#include <functional>
#include <vector>

namespace zsff {

class CChannel;
class CRecordSection;

class CSectionReader {
 public:
  explicit CSectionReader(CRecordSection& section) : m_Section(section) {}
  CSectionReader(const CSectionReader&) = delete;
  CSectionReader& operator=(const CSectionReader&) = delete;

  // The section's operations of the same names; their contracts are stated in
  // RecordSection.h.
  bool StopReading();
  bool GetTimeOffset(std::vector<float>& offsets, long& timeStep);
  bool SetReadPos(const CChannelID& id, double seconds);
  bool SetReadPos(double seconds);
  bool SetReadPosSpl(const CChannelID& id, unsigned long long sample);
  double GetReadPos(const CChannelID& id) const;
  unsigned long long GetReadPosSpl(const CChannelID& id) const;
  unsigned long long ReadRawSampleBlock(const CChannelID& id, void* buffer,
                                        unsigned long long count);
  unsigned long long ReadSampleBlock(const CChannelID& id, void* buffer, unsigned long long count,
                                     SampleReadMode_t mode);
  bool EndOfReading(const CChannelID& id, CAbstractRecordSection::ReadState_t& state) const;

 private:
  // Both reads: checks, following a recording, the read itself (raw, or converted
  // as `mode` says) and the state changes at the start and the end of reading.
  unsigned long long Read(const CChannelID& id, void* buffer, unsigned long long count, bool raw,
                          SampleReadMode_t mode);
  // Whether some section of the process is recording this record; false without
  // an owner.
  bool IsRecordingNow() const;
  // After a recording ended, the measurement's record list holds the parts it
  // left: every channel takes them. False, with nothing taken, while the list
  // still says the record is being recorded.
  bool TakeStoppedParts();
  // Every channel's reader can go no further.
  bool ReadingEnded() const;
  // The first seek or read after opening or stopping: the tree hears that the
  // record is being read.
  void BeginReading();
  // Both seek forms: refuses outside a reading state or for an unknown channel,
  // applies `move` to the channel and enters the reading state.
  bool MoveReadPosition(const CChannelID& id, const std::function<bool(CChannel&)>& move);

  CRecordSection& m_Section;
  bool m_RecordingSeen = false;  // the record was being recorded at the last read
};

}  // namespace zsff
