// Reading a record back through a section: samples written across part
// boundaries come back exactly in every sample format (ConvertedReadTest checks
// their conversions); a part that is gone reads as filler; the two seek forms
// differ at the end of a signal; the reader's end states and the section's state
// changes; and a reader that follows a recording carried on by another section.
#include <gtest/gtest.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordSection.h>
#include <zsff/TmpRecordFile.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "section/RecordSectionProbe.h"
#include "support/FaultInjectingFileAccess.h"
#include "support/SampleFormatOf.h"

namespace fs = std::filesystem;
using namespace zsff;
using zsff_test::FaultInjectingFileAccess;
using zsff_test::RecordSectionProbe;
using zsff_test::SampleFormatOf;
using zsff_test::TempDir;

namespace {

const CRecordId kRecord(2000, 1);
const CChannelID kChannel(1, 0, 77);
const CChannelID kOther(2, 0, 77);
constexpr long long kDate = 132000000000000000LL;
// 16 samples a second and parts of 64 seconds: 1024 samples a part.
constexpr float kRate = 16.0f;
constexpr unsigned long long kPart = 1024;

std::string Narrow(const std::u16string& text) { return std::string(text.begin(), text.end()); }

// Stands in for the tree, thread-safe: a recording section and a reading one may
// call it from two threads. It remembers the notices, answers whether the record
// is recording, and keeps the record list that the stop notice would write into
// the measurement file.
class ReadingTree : public CRecordSectionOwner {
 public:
  ReadingTree(std::shared_ptr<CAbstractFileAccess> store, std::u16string lockDirectory)
      : m_Store(std::move(store)), m_LockDirectory(std::move(lockDirectory)) {}

  CRecordSectionOwner* Owner() { return this; }

  std::vector<CRecordSignalTree::ChangeAction_t> Notices() {
    std::lock_guard<std::mutex> guard(m_Mutex);
    return m_Notices;
  }
  int Count(CRecordSignalTree::ChangeAction_t action) {
    int count = 0;
    for (auto notice : Notices()) count += notice == action ? 1 : 0;
    return count;
  }
  bool Reading() {
    std::lock_guard<std::mutex> guard(m_Mutex);
    return m_Reading;
  }
  // The measurement's record list, as the stops so far wrote it.
  std::vector<MetaDataRecord> Records() {
    std::lock_guard<std::mutex> guard(m_Mutex);
    return m_Records;
  }
  void SetRecords(std::vector<MetaDataRecord> records) {
    std::lock_guard<std::mutex> guard(m_Mutex);
    m_Records = std::move(records);
  }

  bool ChangeState(const CRecordId& id, CRecordSignalTree::ChangeAction_t action,
                   const CRecordSignalTree::CChangeActionParam_t* param, std::u16string&) override {
    std::lock_guard<std::mutex> guard(m_Mutex);
    m_Notices.push_back(action);
    switch (action) {
      case CRecordSignalTree::ChangeRecordStarted:
        m_Recording = true;
        break;
      case CRecordSignalTree::ChangeRecordStopped:
        if (param != nullptr) {
          // What the tree's stop writes into the record list.
          CRecordId entry = id;
          entry.SetPartNumber(param->FirstPart);
          MetaDataRecord record;
          record.setRecordId(entry.RecordId());
          record.setLastPartNumber(param->LastPart);
          record.setDuration(param->Duration);
          m_Records.push_back(record);
        }
        m_Recording = false;
        break;
      case CRecordSignalTree::ChangeReadStarted:
        m_Reading = true;
        break;
      case CRecordSignalTree::ChangeReadStopped:
        m_Reading = false;
        break;
      default:
        break;
    }
    return true;
  }
  void NotifyListener(const CRecordId&, CRecordSignalTree::ChangeAction_t action) override {
    std::lock_guard<std::mutex> guard(m_Mutex);
    m_Notices.push_back(action);
  }
  std::unique_ptr<MetaDataFileLock> CreateMetaDataLock(MetaDataFileLock::Mode mode) override {
    return zsff_test::MetaDataLockIn(m_Store, m_LockDirectory, mode);
  }
  std::u16string MetaDataLockPath() const override { return u""; }
  long RecordCounter() const override { return kRecord.RecordNumber(); }
  bool LoadMetaDataMeasurement(MetaDataContainer&) const override { return false; }
  bool IsRecording(const CRecordId&) const override {
    std::lock_guard<std::mutex> guard(m_Mutex);
    return m_Recording;
  }
  bool GetRecordsVect(std::vector<MetaDataRecord>& records) const override {
    std::lock_guard<std::mutex> guard(m_Mutex);
    records = m_Records;
    return true;
  }
  bool UpdateRecordsVect(const MetaDataFileLock*, const std::vector<CRecordId>&,
                         const std::vector<MetaDataRecord>&) override {
    return false;
  }
  bool IsEditing() const override { return false; }
  bool IsReadOnly() const override { return false; }

 private:
  std::shared_ptr<CAbstractFileAccess> m_Store;
  std::u16string m_LockDirectory;
  mutable std::mutex m_Mutex;
  std::vector<CRecordSignalTree::ChangeAction_t> m_Notices;
  std::vector<MetaDataRecord> m_Records;
  bool m_Recording = false;
  bool m_Reading = false;
};

// How a channel is described to the recording.
struct ChannelSetup {
  std::string format = "SIFloat";
  std::string type = "Dynamic";
  float sensitivity = 1.0f;
  float offset = 0.0f;
  float uncompactCoeff = 1.0f;
  float uncompactOffset = 0.0f;
};

MetaDataContainer Describe(const ChannelSetup& setup) {
  MetaDataContainer metaData;
  metaData.AddMetadata("SamplingRate", kRate);
  CMetaDataChannelWriter writer(metaData);
  writer.Format(setup.format);
  writer.Type(setup.type);
  metaData.AddMetadata("Sensitivity", setup.sensitivity);
  metaData.AddMetadata("Offset", setup.offset);
  return metaData;
}

std::map<CChannelID, TAG_RECORD_INFO> StartInfo(const std::vector<CChannelID>& channels,
                                                const ChannelSetup& setup) {
  std::map<CChannelID, TAG_RECORD_INFO> infos;
  for (const CChannelID& id : channels) {
    TAG_RECORD_INFO info;
    info.AbsoluteDate = kDate;
    info.TimeStep = 1;
    info.UncompactCoeff = setup.uncompactCoeff;
    info.UncompactOffset = setup.uncompactOffset;
    infos[id] = info;
  }
  return infos;
}

// A recording section, armed and started on `channels`.
std::unique_ptr<CRecordSection> StartRecording(ReadingTree& tree, const TempDir& dir,
                                               CAbstractFileAccess* store,
                                               const std::vector<CChannelID>& channels,
                                               const ChannelSetup& setup, PartLength_t partLength,
                                               double ringSeconds = 0.0) {
  auto section = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                          CAbstractRecordSection::OpenCreate, store);
  for (const CChannelID& id : channels) EXPECT_TRUE(section->AddChannel(id, Describe(setup)));
  EXPECT_TRUE(section->ArmRecord(ringSeconds, partLength, false));
  EXPECT_TRUE(section->StartRecord(StartInfo(channels, setup)));
  return section;
}

// The bytes of `count` samples of a format, each a distinct small value.
template <typename T>
std::vector<unsigned char> Samples(unsigned long long count, unsigned long long first) {
  std::vector<unsigned char> bytes(count * sizeof(T));
  for (unsigned long long i = 0; i < count; ++i) {
    // Negative values too, and a pattern that repeats only after many parts.
    const T value = static_cast<T>(static_cast<long long>((first + i) % 5003) - 2501);
    std::memcpy(bytes.data() + i * sizeof(T), &value, sizeof(T));
  }
  return bytes;
}

// Records `total` samples on one channel in blocks of `block`, and stops.
template <typename T>
std::vector<unsigned char> RecordFinished(ReadingTree& tree, const TempDir& dir,
                                          CAbstractFileAccess* store, const ChannelSetup& setup,
                                          unsigned long long total,
                                          PartLength_t partLength = PartLengthShort) {
  auto section = StartRecording(tree, dir, store, {kChannel}, setup, partLength);
  const std::vector<unsigned char> all = Samples<T>(total, 0);
  for (unsigned long long done = 0; done < total; done += 333) {
    const unsigned long long count = std::min<unsigned long long>(333, total - done);
    EXPECT_TRUE(section->WriteSampleBlock(kChannel, all.data() + done * sizeof(T), count, true))
        << Narrow(section->LastErrorString());
  }
  EXPECT_TRUE(section->StopRecord());
  return all;
}

std::unique_ptr<CRecordSection> OpenFinished(ReadingTree& tree, const TempDir& dir,
                                             CAbstractFileAccess* store, unsigned short lastPart) {
  return RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                  CAbstractRecordSection::OpenRead, store, false, lastPart);
}

fs::path PartFile(const TempDir& dir, unsigned short part) {
  return dir.Path() / "Record_2000_1" / Narrow(kChannel.ToFilePath()) /
         ("Part_" + std::to_string(part) + ".zrs");
}

// Reads everything in blocks of `block` raw samples.
std::vector<unsigned char> ReadAllRaw(CRecordSection& section, unsigned long long sampleSize,
                                      unsigned long long block) {
  std::vector<unsigned char> all;
  std::vector<unsigned char> buffer(block * sampleSize);
  for (int guard = 0; guard < 10000; ++guard) {
    const unsigned long long read = section.ReadRawSampleBlock(kChannel, buffer.data(), block);
    if (read == 0) break;
    all.insert(all.end(), buffer.begin(), buffer.begin() + read * sampleSize);
  }
  return all;
}

// --- Every format ---------------------------------------------------------------------

template <typename T>
class RecordSectionReadFormats : public ::testing::Test {};
using SampleTypes = ::testing::Types<float, double, std::int16_t, std::int32_t>;
TYPED_TEST_SUITE(RecordSectionReadFormats, SampleTypes);

TYPED_TEST(RecordSectionReadFormats, SamplesComeBackExactlyAcrossParts) {
  using T = TypeParam;
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  ReadingTree tree(store, dir.Wide());
  ChannelSetup setup;
  setup.format = SampleFormatOf<T>::kName;
  // Two whole parts and a short third one.
  const unsigned long long total = 2 * kPart + 452;
  const std::vector<unsigned char> written =
      RecordFinished<T>(tree, dir, store.get(), setup, total);
  ASSERT_TRUE(fs::exists(PartFile(dir, 2)));

  auto reader = OpenFinished(tree, dir, store.get(), 2);
  EXPECT_EQ(reader->SignalLengthSpl(kChannel, false), total);
  // Blocks that straddle both part boundaries.
  EXPECT_EQ(ReadAllRaw(*reader, sizeof(T), 700), written);

  // A mode outside the six converts nothing, though the samples were read.
  ASSERT_TRUE(reader->SetReadPosSpl(kChannel, 0));
  std::vector<double> out(10);
  EXPECT_EQ(reader->ReadSampleBlock(kChannel, out.data(), 10, static_cast<SampleReadMode_t>(6)),
            0u);
  EXPECT_EQ(reader->GetReadPosSpl(kChannel), 10u);
}

// --- Filler, ends, positions ------------------------------------------------------------

TEST(RecordSectionRead, MissingPartReadsAsFillerOfItsChannelType) {
  for (const char* type : {"Dynamic", "Trigger"}) {
    SCOPED_TRACE(type);
    TempDir dir;
    auto store = std::make_shared<CLocalFileAccess>();
    ReadingTree tree(store, dir.Wide());
    ChannelSetup setup;
    setup.type = type;
    const unsigned long long total = 3 * kPart;
    const std::vector<unsigned char> written =
        RecordFinished<float>(tree, dir, store.get(), setup, total);
    ASSERT_TRUE(fs::remove(PartFile(dir, 1)));

    // A reader asks for nothing but reading, and a missing part stays missing.
    FaultInjectingFileAccess watched(store);
    auto reader = OpenFinished(tree, dir, &watched, 2);
    const std::vector<unsigned char> read = ReadAllRaw(*reader, 4, 1000);
    EXPECT_TRUE(reader->RequestCompressedSignal(kChannel, 0.0f, 150.0f, 10, false));
    for (FileOpenMode_t mode : watched.OpenModes()) EXPECT_EQ(mode, FileModeRead);
    for (auto op : {FaultInjectingFileAccess::CreateDir, FaultInjectingFileAccess::Delete,
                    FaultInjectingFileAccess::Rename, FaultInjectingFileAccess::Write}) {
      EXPECT_EQ(watched.Calls(op), 0u) << op;
    }
    EXPECT_FALSE(fs::exists(PartFile(dir, 1)));
    ASSERT_EQ(read.size(), written.size());
    const unsigned char filler = std::string(type) == "Trigger" ? 0xFF : 0x00;
    for (unsigned long long i = 0; i < read.size(); ++i) {
      const bool inGap = i >= kPart * 4 && i < 2 * kPart * 4;
      ASSERT_EQ(read[i], inGap ? filler : written[i]) << i;
    }
    // Positions count on through the gap.
    ASSERT_TRUE(reader->SetReadPos(kChannel, 100.0));  // inside part 1
    std::vector<float> samples(10);
    EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), 10), 10u);
    EXPECT_EQ(reader->LastErrorString(), u"");
  }
}

TEST(RecordSectionRead, MissingLastPartFillsToTheRecordsEndAndIsNamed) {
  const struct {
    unsigned long long total;
    unsigned short lost;
    const char16_t* name;
  } cases[] = {{48, 0, u"Part_0"},                // 3 s in one part
               {2 * kPart + 452, 2, u"Part_2"}};  // a short third part
  for (const auto& c : cases) {
    SCOPED_TRACE(c.total);
    TempDir dir;
    auto store = std::make_shared<CLocalFileAccess>();
    ReadingTree tree(store, dir.Wide());
    std::vector<unsigned char> expected =
        RecordFinished<float>(tree, dir, store.get(), ChannelSetup(), c.total);
    ASSERT_TRUE(fs::remove(PartFile(dir, c.lost)));
    std::fill(expected.begin() + c.lost * kPart * 4, expected.end(), 0);

    auto reader = OpenFinished(tree, dir, store.get(), c.lost);
    const std::vector<unsigned char> read = ReadAllRaw(*reader, 4, 1000);
    EXPECT_EQ(read.size(), expected.size());
    EXPECT_TRUE(read == expected);
    EXPECT_EQ(reader->LastErrorString(),
              u"CChannel::OpenPart unable to open signal files: " + std::u16string(c.name));
  }
}

TEST(RecordSectionRead, ShortPartEndsTheReadAndTheTwoSeekFormsDifferAtTheEnd) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  ReadingTree tree(store, dir.Wide());
  const unsigned long long total = 3 * kPart;
  const std::vector<unsigned char> written =
      RecordFinished<float>(tree, dir, store.get(), ChannelSetup(), total);
  // Part 1 loses its tail after the recording, as a crash could leave it.
  fs::resize_file(PartFile(dir, 1), 1000 * 4);

  auto reader = OpenFinished(tree, dir, store.get(), 2);
  std::vector<float> samples(500);
  // A read from part 0 goes on into part 1 ...
  ASSERT_TRUE(reader->SetReadPosSpl(kChannel, 900));
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), 500), 500u);
  EXPECT_EQ(std::memcmp(samples.data(), written.data() + 900 * 4, 500 * 4), 0);
  // ... but stops at the end of the short part although part 2 is there.
  ASSERT_TRUE(reader->SetReadPosSpl(kChannel, kPart + 900));
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), 500), 100u);
  EXPECT_EQ(std::memcmp(samples.data(), written.data() + (kPart + 900) * 4, 100 * 4), 0);
  // Seeking into part 2 goes on from there.
  ASSERT_TRUE(reader->SetReadPosSpl(kChannel, 2 * kPart + 5));
  EXPECT_EQ(reader->GetReadPosSpl(kChannel), 2 * kPart + 5);
  EXPECT_DOUBLE_EQ(reader->GetReadPos(kChannel), (2 * kPart + 5) / double(kRate));
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), 1), 1u);
  EXPECT_EQ(std::memcmp(samples.data(), written.data() + (2 * kPart + 5) * 4, 4), 0);
  // Beyond the last part there is nothing to open.
  EXPECT_FALSE(reader->SetReadPosSpl(kChannel, 3 * kPart + 10));
  EXPECT_EQ(reader->LastErrorString(),
            u"CRecordSection::SetReadPos unable to set read position: CChannel::OpenPart unable to "
            u"open signal files: Part_3");
  EXPECT_FALSE(reader->SetReadPos(kOther, 1.0));
  EXPECT_EQ(reader->LastErrorString(),
            u"CRecordSection::SetReadPos channel not found: " +
                dir.Wide() + u"/" + reader->RecordName() + u"/" + kOther.ToFilePath());
  EXPECT_EQ(reader->GetReadPos(kOther), 0.0);
  EXPECT_EQ(reader->GetReadPosSpl(kOther), 0u);
}

TEST(RecordSectionRead, RecordEndingWithAFullPartReadsToItsEnd) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  ReadingTree tree(store, dir.Wide());
  const std::vector<unsigned char> written =
      RecordFinished<float>(tree, dir, store.get(), ChannelSetup(), 2 * kPart);
  ASSERT_FALSE(fs::exists(PartFile(dir, 2)));

  auto reader = OpenFinished(tree, dir, store.get(), 1);
  std::vector<unsigned char> read = ReadAllRaw(*reader, 4, 100);
  // The part after the last one is never there: its absence is the end, not a failure.
  ASSERT_EQ(read.size() / 4, 2 * kPart) << Narrow(reader->LastErrorString());
  EXPECT_EQ(read, written);
  CAbstractRecordSection::ReadState_t state = CAbstractRecordSection::ReadStateNone;
  EXPECT_TRUE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateEnd);
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionStopped);
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, read.data(), 1), 0u);
}

TEST(RecordSectionRead, OneFileRecordTimeSeekRefusesTheEndWhereTheSampleSeekStops) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  ReadingTree tree(store, dir.Wide());
  const unsigned long long total = 800;
  const std::vector<unsigned char> written =
      RecordFinished<float>(tree, dir, store.get(), ChannelSetup(), total, PartLengthNone);
  auto reader = OpenFinished(tree, dir, store.get(), 0);

  EXPECT_FALSE(reader->SetReadPos(kChannel, total / double(kRate)));
  EXPECT_EQ(reader->LastErrorString(), u"CRecordSection::SetReadPos unable to set read position");
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionOpened);

  ASSERT_TRUE(reader->SetReadPos(kChannel, 10.0));
  EXPECT_EQ(reader->GetReadPosSpl(kChannel), 160u);
  std::vector<float> samples(total);
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), total), total - 160);
  EXPECT_EQ(std::memcmp(samples.data(), written.data() + 160 * 4, (total - 160) * 4), 0);

  ASSERT_TRUE(reader->SetReadPosSpl(kChannel, total));
  CAbstractRecordSection::ReadState_t state = CAbstractRecordSection::ReadStateNone;
  EXPECT_TRUE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateEnd);
}

TEST(RecordSectionRead, StatesAndNoticesOfReading) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  ReadingTree tree(store, dir.Wide());
  const unsigned long long total = kPart + 10;
  RecordFinished<float>(tree, dir, store.get(), ChannelSetup(), total);
  auto reader = OpenFinished(tree, dir, store.get(), 1);
  std::vector<float> samples(total);

  EXPECT_FALSE(reader->StopReading());
  EXPECT_EQ(reader->LastErrorString(), u"CRecordSection::StopReading invalid state");
  EXPECT_EQ(tree.Count(CRecordSignalTree::ChangeReadStarted), 0);

  // The first read starts reading; the part boundary doesn't end it.
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), kPart - 5), kPart - 5);
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionReading);
  EXPECT_TRUE(tree.Reading());
  CAbstractRecordSection::ReadState_t state = CAbstractRecordSection::ReadStateEnd;
  EXPECT_FALSE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateNone);

  // Reading to the end of a finished record stops the section.
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), total), 15u);
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionStopped);
  EXPECT_FALSE(tree.Reading());
  EXPECT_TRUE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateEnd);
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), 1), 0u);
  EXPECT_EQ(reader->LastErrorString(), u"CRecordSection::ReadRawSampleBlock invalid state");

  // A seek takes it back, once with its notice.
  ASSERT_TRUE(reader->SetReadPos(0.0));
  ASSERT_TRUE(reader->SetReadPos(kChannel, 1.0));
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionReading);
  EXPECT_EQ(tree.Count(CRecordSignalTree::ChangeReadStarted), 2);
  EXPECT_TRUE(reader->StopReading());
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionStopped);
  EXPECT_EQ(tree.Count(CRecordSignalTree::ChangeReadStopped), 2);
  EXPECT_EQ(reader->ReadRawSampleBlock(kOther, samples.data(), 1), 0u);

  // Unknown channels are at their end and in no state; the time offsets of the
  // channels need a reading state too.
  EXPECT_TRUE(reader->EndOfReading(kOther, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateNone);
  std::vector<float> offsets;
  long steps = -1;
  EXPECT_TRUE(reader->GetTimeOffset(offsets, steps));
  EXPECT_EQ(offsets, std::vector<float>{0.0f});
  EXPECT_EQ(steps, 0);
}

TEST(RecordSectionRead, ARecordingSectionRefusesReads) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  ReadingTree tree(store, dir.Wide());
  auto section =
      StartRecording(tree, dir, store.get(), {kChannel}, ChannelSetup(), PartLengthShort);
  const std::vector<unsigned char> block = Samples<float>(10, 0);
  ASSERT_TRUE(section->WriteSampleBlock(kChannel, block.data(), 10, false));
  float sample = 0.0f;
  EXPECT_FALSE(section->SetReadPos(kChannel, 0.0));
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::SetReadPos invalid state");
  EXPECT_FALSE(section->SetReadPos(0.0));
  EXPECT_EQ(section->ReadRawSampleBlock(kChannel, &sample, 1), 0u);
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::ReadRawSampleBlock invalid state");
  std::vector<float> offsets;
  long steps = 0;
  EXPECT_FALSE(section->GetTimeOffset(offsets, steps));
  EXPECT_TRUE(section->StopRecord());
}

// --- Following a recording -------------------------------------------------------------

TEST(RecordSectionRead, ReaderSeesTheLiveEndTheRingOvertakingItAndTheEnd) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  ReadingTree tree(store, dir.Wide());
  // A ring of 128 seconds in parts of 64: at most three parts on disk.
  auto recorder =
      StartRecording(tree, dir, store.get(), {kChannel}, ChannelSetup(), PartLengthShort, 128.0);
  const std::vector<unsigned char> all = Samples<float>(8 * kPart, 0);
  ASSERT_TRUE(recorder->WriteSampleBlock(kChannel, all.data(), 300, false));

  auto reader = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                         CAbstractRecordSection::OpenRead, store.get(), true);
  std::vector<float> samples(2 * kPart);
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), 1000), 300u);
  EXPECT_EQ(std::memcmp(samples.data(), all.data(), 300 * 4), 0);
  CAbstractRecordSection::ReadState_t state = CAbstractRecordSection::ReadStateNone;
  EXPECT_TRUE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateLiveEnd);
  // Nothing new yet: no samples, no failure, still reading.
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), 10), 0u);
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionReading);

  // The end moves on, into the next part, which the same read enters.
  ASSERT_TRUE(recorder->WriteSampleBlock(kChannel, all.data() + 300 * 4, kPart, false));
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), 2 * kPart), kPart);
  EXPECT_EQ(std::memcmp(samples.data(), all.data() + 300 * 4, kPart * 4), 0);
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), 2 * kPart), 0u);
  EXPECT_TRUE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateLiveEnd);
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionReading);

  // The ring drops part 1, under the reader.
  ASSERT_TRUE(
      recorder->WriteSampleBlock(kChannel, all.data() + (kPart + 300) * 4, 4 * kPart, false));
  ASSERT_FALSE(fs::exists(PartFile(dir, 1)));
  EXPECT_TRUE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateOvertaken);

  // While the record grows, seeks count from part 0, so sample 0 is gone with
  // its part; the parts kept start at part 3. Positions count from there.
  EXPECT_FALSE(reader->SetReadPosSpl(kChannel, 0));
  ASSERT_TRUE(reader->SetReadPosSpl(kChannel, 3 * kPart));
  EXPECT_EQ(reader->GetReadPosSpl(kChannel), 0u);
  EXPECT_TRUE(fs::exists(PartFile(dir, 3)));
  EXPECT_FALSE(fs::exists(PartFile(dir, 2)));
  // Then the recording ends.
  ASSERT_TRUE(recorder->StopRecord());
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), 10), 10u);
  EXPECT_EQ(std::memcmp(samples.data(), all.data() + 3 * kPart * 4, 10 * 4), 0);
  EXPECT_EQ(10 + ReadAllRaw(*reader, 4, 700).size() / 4, 2 * kPart + 300);
  EXPECT_TRUE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateEnd);
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionStopped);
}

TEST(RecordSectionRead, ReaderKeepsFollowingUntilTheRecordListHasTheStop) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  ReadingTree tree(store, dir.Wide());
  auto recorder =
      StartRecording(tree, dir, store.get(), {kChannel}, ChannelSetup(), PartLengthShort);
  const unsigned long long total = 3 * kPart + 100;
  const std::vector<unsigned char> all = Samples<float>(total, 0);
  ASSERT_TRUE(recorder->WriteSampleBlock(kChannel, all.data(), 10, false));
  auto reader = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                         CAbstractRecordSection::OpenRead, store.get(), true);
  std::vector<unsigned char> read(10 * 4);
  ASSERT_EQ(reader->ReadRawSampleBlock(kChannel, read.data(), 10), 10u);
  ASSERT_TRUE(recorder->WriteSampleBlock(kChannel, all.data() + 10 * 4, total - 10, false));

  // The recorder is done and its temporary files are gone, but the list still
  // holds the entry made at the record's creation: a recorder in another process
  // leaves it so until it enters the stop.
  ASSERT_TRUE(recorder->StopRecord());
  const std::vector<MetaDataRecord> stopped = tree.Records();
  MetaDataRecord created;
  created.setRecordId(kRecord.RecordId());
  created.setRecording(true);
  tree.SetRecords({created});
  const std::vector<unsigned char> rest = ReadAllRaw(*reader, 4, 700);
  read.insert(read.end(), rest.begin(), rest.end());
  ASSERT_EQ(read.size() / 4, total) << Narrow(reader->LastErrorString());
  EXPECT_EQ(read, all);
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionReading);

  // The stop entered: the reading ends.
  tree.SetRecords(stopped);
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, read.data(), 10), 0u);
  CAbstractRecordSection::ReadState_t state = CAbstractRecordSection::ReadStateNone;
  EXPECT_TRUE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateEnd);
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionStopped);
}

TEST(RecordSectionRead, OvertakenIsToldFromInsideAfterThePartNumbersWrap) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  ReadingTree tree(store, dir.Wide());
  // The record's first part is 65534: its parts run 65534, 65535, 0, ...
  CRecordId id = kRecord;
  id.SetPartNumber(65534);
  auto recorder = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), id,
                                           CAbstractRecordSection::OpenCreate, store.get());
  ASSERT_TRUE(recorder->AddChannel(kChannel, Describe(ChannelSetup())));
  ASSERT_TRUE(recorder->ArmRecord(128.0, PartLengthShort, false));
  ASSERT_TRUE(recorder->StartRecord(StartInfo({kChannel}, ChannelSetup())));
  const std::vector<unsigned char> all = Samples<float>(4 * kPart, 0);
  ASSERT_TRUE(recorder->WriteSampleBlock(kChannel, all.data(), 10, false));

  auto reader = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), id,
                                         CAbstractRecordSection::OpenRead, store.get(), true);
  std::vector<float> samples(kPart);
  ASSERT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), kPart), 10u);

  // Parts 65535 and 0 follow; the ring then drops 65534, under the reader.
  ASSERT_TRUE(recorder->WriteSampleBlock(kChannel, all.data() + 10 * 4, 2 * kPart + 90, false));
  ASSERT_FALSE(fs::exists(PartFile(dir, 65534)));
  CAbstractRecordSection::ReadState_t state = CAbstractRecordSection::ReadStateNone;
  EXPECT_TRUE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateOvertaken);

  // Parts 65535 and 0, on both sides of the wrap, are inside. (While the record
  // is recorded, the state says so even inside the signal.)
  ASSERT_TRUE(reader->SetReadPosSpl(kChannel, 65535ULL * kPart + 3));
  EXPECT_FALSE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateLiveEnd);
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), 1), 1u);
  EXPECT_EQ(std::memcmp(samples.data(), all.data() + (kPart + 3) * 4, 4), 0);
  ASSERT_TRUE(reader->SetReadPosSpl(kChannel, 5));
  EXPECT_FALSE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateLiveEnd);
  EXPECT_EQ(reader->ReadRawSampleBlock(kChannel, samples.data(), kPart), 95u);
  EXPECT_EQ(std::memcmp(samples.data(), all.data() + (2 * kPart + 5) * 4, 95 * 4), 0);
  EXPECT_TRUE(reader->EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateLiveEnd);
  EXPECT_TRUE(recorder->StopRecord());
}

TEST(RecordSectionRead, ReaderOnAnotherThreadFollowsARecordingToItsEnd) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  ReadingTree tree(store, dir.Wide());
  auto recorder =
      StartRecording(tree, dir, store.get(), {kChannel}, ChannelSetup(), PartLengthShort);
  const unsigned long long total = 4 * kPart + 123;
  const std::vector<unsigned char> all = Samples<float>(total, 0);
  ASSERT_TRUE(recorder->WriteSampleBlock(kChannel, all.data(), 1, false));
  auto reader = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                         CAbstractRecordSection::OpenRead, store.get(), true);

  std::thread recording([&] {
    for (unsigned long long done = 1; done < total; done += 97) {
      const unsigned long long count = std::min<unsigned long long>(97, total - done);
      recorder->WriteSampleBlock(kChannel, all.data() + done * 4, count, false);
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    recorder->StopRecord();
  });

  std::vector<unsigned char> read;
  std::vector<unsigned char> buffer(500 * 4);
  CAbstractRecordSection::ReadState_t state = CAbstractRecordSection::ReadStateNone;
  // Bounded only so that a fault shows as a failure rather than a hang.
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (std::chrono::steady_clock::now() < giveUp) {
    const unsigned long long got = reader->ReadRawSampleBlock(kChannel, buffer.data(), 500);
    read.insert(read.end(), buffer.begin(), buffer.begin() + got * 4);
    if (got == 0) {
      if (reader->EndOfReading(kChannel, state) && state == CAbstractRecordSection::ReadStateEnd) {
        break;
      }
      EXPECT_NE(state, CAbstractRecordSection::ReadStateOvertaken);
      std::this_thread::yield();
    }
  }
  recording.join();
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateEnd);
  EXPECT_EQ(read, all);
  // The end can show before the tree hears of the stop; the reading stops with
  // the first read after that.
  reader->ReadRawSampleBlock(kChannel, buffer.data(), 1);
  EXPECT_EQ(reader->State(), CAbstractRecordSection::SectionStopped);
  EXPECT_FALSE(tree.Reading());
}

}  // namespace
