// The recording half of a record section: channels are added, armed, started,
// written and stopped here, on the channels and the state of the section that
// made this object.
//
// Internal: each CRecordSection makes one for itself and forwards its recording
// operations to it; the recorder lives as long as its section. Each failing call
// leaves its text in the section's last error and keeps the state it found. A
// block takes one look-up, the channel's write and pyramid cascade: no metadata,
// no lock, no allocation but when a part opens.
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/RecordSignalTree.h>

#include <map>
#include <string>

namespace zsff {

class CChannel;
class CRecordSection;

class CSectionRecorder {
 public:
  // `samplingRateSum` is the sum of the rates of the channels the section found on
  // disk when it opened; channels added later don't count in it.
  CSectionRecorder(CRecordSection& section, double samplingRateSum)
      : m_Section(section), m_SamplingRateSum(samplingRateSum) {}
  CSectionRecorder(const CSectionRecorder&) = delete;
  CSectionRecorder& operator=(const CSectionRecorder&) = delete;

  // The section's operations of the same names; their contracts are stated in
  // RecordSection.h.
  bool AddChannel(const CChannelID& id, const MetaDataContainer& metaData);
  bool ArmRecord(double maxLength, PartLength_t partLength, bool noRing);
  bool StartRecord(const std::map<CChannelID, TAG_RECORD_INFO>& recordInfo);
  bool WriteSampleBlock(const CChannelID& id, const void* samples, unsigned long long count,
                        bool compress);
  bool WriteCompressedSampleBlock(const CChannelID& id, const void* values,
                                  unsigned long long count);
  bool StopRecord();
  bool DuplicateRecordSection(const std::u16string& sourcePath);

 private:
  // The first block of a started record, on any channel: the record is kept from
  // now on, and the host's listener hears that samples flow.
  void FirstBlock();
  // The channel a block is written to, the first block starting the recording;
  // null, with `invalidState` or `notFound` as the error, when the section isn't
  // started or recording or has no such channel.
  CChannel* ChannelToWrite(const CChannelID& id, const char16_t* invalidState,
                           const char16_t* notFound);

  CRecordSection& m_Section;
  double m_SamplingRateSum;
  // As StartRecord built it; StopRecord starts from it.
  CRecordSignalTree::CChangeActionParam_t m_StartParam{};
};

}  // namespace zsff
