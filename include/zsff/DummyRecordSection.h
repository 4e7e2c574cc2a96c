// The null record section: what the tree hands out for a handle that names no
// open record. Every operation fails quietly with the same answer each time, so a
// host may call through any handle without testing it first; LastErrorString says
// "Invalid RecordId".
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/Export.h>

namespace zsff {

// Holds no state but an id of 0: no file is touched, nothing is allocated, and
// the object may be shared by any number of threads.
class ZSFF_API CDummyRecordSection : public CAbstractRecordSection {
 public:
  CDummyRecordSection() = default;
  CDummyRecordSection(const CDummyRecordSection&) = default;
  CDummyRecordSection& operator=(const CDummyRecordSection&) = default;
  ~CDummyRecordSection() override = default;

  // Every bool operation below is false, every count 0 and every length 0.0,
  // unless its comment says otherwise. Outputs are left untouched.
  bool AddChannel(const CChannelID& id, const MetaDataContainer& metaData) override;
  bool ListChannelsID(std::vector<CChannelID>& ids) const override;
  bool ListChannelsName(std::vector<std::u16string>& names) const override;
  bool ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers) const override;
  bool GetChannelID(unsigned long channelNumber, unsigned long analyzerIndex,
                    unsigned long serialNumber, CChannelID& id) const override;
  bool ReadChannelMetaData(const CChannelID& id, MetaDataContainer& metaData,
                           TAG_RECORD_INFO& recordInfo, bool mustBeOpen) override;
  bool UpdateChannelMetaData(const MetaDataFileLock* lock, const CChannelID& id,
                             MetaDataContainer& metaData) override;
  bool ArmRecord(double maxLength, PartLength_t partLength, bool noRing) override;
  double MaxRecordLength() override;
  double PartLength() const override;
  bool StartRecord(const std::map<CChannelID, TAG_RECORD_INFO>& recordInfo) override;
  bool IsValidChannel(const CChannelID& id) const override;
  bool WriteSampleBlock(const CChannelID& id, const void* samples, unsigned long long count,
                        bool compress) override;
  bool WriteCompressedSampleBlock(const CChannelID& id, const void* values,
                                  unsigned long long count) override;
  bool StopRecord() override;
  bool StopReading() override;
  bool GetTimeOffset(std::vector<float>& offsets, long& timeStep) override;
  bool SetReadPos(const CChannelID& id, double seconds) override;
  bool SetReadPos(double seconds) override;
  bool SetReadPosSpl(const CChannelID& id, unsigned long long sample) override;
  double GetReadPos(const CChannelID& id) const override;
  unsigned long long GetReadPosSpl(const CChannelID& id) const override;
  unsigned long long ReadRawSampleBlock(const CChannelID& id, void* buffer,
                                        unsigned long long count) override;
  unsigned long long ReadSampleBlock(const CChannelID& id, void* buffer, unsigned long long count,
                                     SampleReadMode_t mode) override;
  // True, with `state` ReadStateNone: a reading loop over an unknown handle stops
  // at once.
  bool EndOfReading(const CChannelID& id, ReadState_t& state) const override;
  bool SetPostAnalysisSettings(const CChannelID& id,
                               const CPostAnalysisSettings& settings) override;
  bool SavePostAnalysisSettings(const CChannelID& id,
                                const CPostAnalysisSettings& settings) override;
  bool RequestCompressedSignal(const CChannelID& id, float start, float stop,
                               unsigned long long points, bool fromPartZero) override;
  // CompressFailed.
  CompressStatus_t GetCompressedSignal(const CChannelID& id, void* buffer,
                                       SampleReadMode_t mode) override;
  // Every field 0.
  CompressedSignalInfo_t GetCompressedSignalInfo(const CChannelID& id) override;
  // Empty.
  std::u16string RecordName() const override;
  // The id held, 0.
  CRecordId RecordId() const override;
  bool DeleteRecord() const override;
  // False, although a real section always answers true.
  bool FlushSignalFiles() override;
  bool RecordLengthAndAbsoluteDate(double& length, long long& absoluteDate) const override;
  double SignalLength(const CChannelID& id, bool fromPartZero) const override;
  unsigned long long SignalLengthSpl(const CChannelID& id, bool fromPartZero) const override;
  unsigned long long TotalSignalSizeInBytes() const override;
  unsigned long long ChannelCount() const override;
  // "Invalid RecordId".
  std::u16string LastErrorString() const override;
  bool IsUsed() const override;
  // SectionOpened.
  SingleRecordState_t State() const override;
  // OpenRead.
  OpenMode_t OpenMode() const override;
  bool EraseParts(const CChannelID& id, unsigned short firstPart, unsigned short lastPart) override;
  // Two ids of 0.
  std::pair<CRecordId, CRecordId> Split(unsigned short partCount) override;
  // Does nothing.
  void SkipFirstPartNumber(bool skip) override;

 protected:
  bool DuplicateRecordSection(const std::u16string& sourcePath) override;
  bool CleanRecord() override;

 private:
  CRecordId m_RecordId{0ULL};
};

}  // namespace zsff
