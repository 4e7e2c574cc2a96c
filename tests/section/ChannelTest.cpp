// A channel records blocks into part files and their pyramids, rolls over to the
// next part exactly at its end, keeps a ring of parts, writes its temporary record
// file once a part, and completes its metadata at close. Everything is checked on
// disk, through a store that counts the writes of each file and injects faults.
#include <gtest/gtest.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileLock.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/TmpRecordFile.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "section/Channel.h"
#include "signal/CompressedSignalFileWriter.h"
#include "support/FaultInjectingFileAccess.h"

namespace fs = std::filesystem;
using namespace zsff;
using zsff_test::FaultInjectingFileAccess;
using zsff_test::TempDir;

namespace zsff_test {

class ChannelProbe {
 public:
  static const ChannelPartRange& SignalParts(const CChannel& channel) {
    return channel.m_SignalParts;
  }
  static const ChannelReadCursor& SignalRead(const CChannel& channel) {
    return channel.m_SignalRead;
  }
  static CChannelPartWriter& Writer(CChannel& channel) { return channel.m_Writer; }
  static CChannelPartReader& Reader(CChannel& channel) { return channel.m_Reader; }
};

}  // namespace zsff_test

using zsff_test::ChannelProbe;

namespace {

const CChannelID kId(1, 0, 77);
constexpr long long kStartDate = 132000000000000000LL;

// Counts the writes of each file by name, on top of the fault injection.
class CountingStore : public FaultInjectingFileAccess {
 public:
  CountingStore() : FaultInjectingFileAccess(std::make_shared<CLocalFileAccess>()) {}

  bool OpenFile(const std::string& path, FileOpenMode_t mode, unsigned int& handle) override {
    if (!FaultInjectingFileAccess::OpenFile(path, mode, handle)) return false;
    m_Names[handle] = fs::path(path).filename().string();
    return true;
  }
  bool OpenFile(const std::u16string& path, FileOpenMode_t mode, unsigned int& handle) override {
    return OpenFile(std::string(path.begin(), path.end()), mode, handle);  // test paths are ASCII
  }
  bool WriteFile(unsigned int handle, const void* buffer, unsigned int size,
                 unsigned int& written) override {
    ++m_Writes[m_Names[handle]];
    return FaultInjectingFileAccess::WriteFile(handle, buffer, size, written);
  }
  int Writes(const std::string& name) { return m_Writes[name]; }

 private:
  std::map<unsigned int, std::string> m_Names;
  std::map<std::string, int> m_Writes;
};

std::vector<float> Ramp(unsigned long long count, float first) {
  std::vector<float> values(count);
  std::iota(values.begin(), values.end(), first);
  return values;
}

class ChannelTest : public ::testing::Test {
 protected:
  ChannelTest() : m_Store(std::make_shared<CountingStore>()) {
    fs::create_directories(ChannelDir());
  }

  fs::path ChannelDir() const { return m_Dir.Path() / "Channel_1_0_77"; }
  std::u16string ChannelDirW() const { return m_Dir.Wide("Channel_1_0_77"); }
  fs::path Part(int part, const std::string& extension = ".zrs") const {
    return ChannelDir() / ("Part_" + std::to_string(part) + extension);
  }

  static MetaDataContainer MetaData(float rate) {
    MetaDataContainer metaData;
    metaData.AddMetadata("SamplingRate", rate);
    metaData.AddMetadata("DataFormat", std::u16string(u"SIFloat"));
    metaData.AddMetadata("Name", std::u16string(u"Vibration"));
    return metaData;
  }

  std::unique_ptr<CChannel> NewChannel(float rate, unsigned short firstPart = 0) {
    CRecordId record(1000u, 1);
    record.SetPartNumber(firstPart);
    return std::make_unique<CChannel>(kId, ChannelDirW(), u"Channel_1", MetaData(rate), record,
                                      CAbstractRecordSection::OpenCreate, m_Store.get());
  }

  // What the section does at its start: the record information saved once.
  void Start(CChannel& channel) {
    TAG_RECORD_INFO info;
    info.AbsoluteDate = kStartDate;
    info.TimeStep = 1;
    channel.TmpRecordFile().SetRecordInfo(info);
    ASSERT_TRUE(channel.TmpRecordFile().Write());
    channel.BeginRecording(kStartDate);
  }

  // Writes `total` samples of a ramp continuing at `next` in blocks of `block`.
  static void Record(CChannel& channel, unsigned long long total, unsigned long long block,
                     unsigned long long& next, bool compress = false) {
    while (total > 0) {
      const unsigned long long count = std::min(total, block);
      const std::vector<float> samples = Ramp(count, static_cast<float>(next));
      ASSERT_TRUE(channel.WriteSampleBlock(samples.data(), count, compress))
          << std::string(channel.LastErrorString().begin(), channel.LastErrorString().end());
      next += count;
      total -= count;
    }
  }

  static std::vector<float> Samples(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    std::vector<float> values(bytes.size() / sizeof(float));
    std::copy(bytes.begin(), bytes.begin() + values.size() * sizeof(float),
              reinterpret_cast<char*>(values.data()));
    return values;
  }

  // Samples in all the part files of the channel directory.
  unsigned long long SamplesOnDisk() const {
    unsigned long long bytes = 0;
    for (const auto& entry : fs::directory_iterator(ChannelDir())) {
      if (entry.path().extension() == ".zrs") bytes += entry.file_size();
    }
    return bytes / sizeof(float);
  }

  CTmpRecordFile TmpOnDisk() {
    CTmpRecordFile tmp(ChannelDir().string(), m_Store.get());
    EXPECT_TRUE(tmp.Read());
    return tmp;
  }

  MetaDataContainer SavedMetaData() {
    MetaDataContainer metaData;
    CMetaDataFileReader reader(m_Store.get());
    EXPECT_TRUE(reader.Load(metaData, u"Channel_1.zrm", ChannelDirW()));
    return metaData;
  }

  TempDir m_Dir;
  std::shared_ptr<CountingStore> m_Store;
};

TEST_F(ChannelTest, NewChannelSavesItsMetadataOrThrows) {
  auto channel = NewChannel(1000.0f);
  MetaDataContainer saved = SavedMetaData();
  long factor = 0;
  EXPECT_TRUE(saved.FindMetadata("CompressionFactor", factor));
  EXPECT_EQ(factor, 32);
  std::u16string name;
  EXPECT_TRUE(saved.FindMetadata("Name", name));
  EXPECT_EQ(name, u"Vibration");
  EXPECT_FALSE(fs::exists(Part(0))) << "no sample file before arming";

  MetaDataContainer noRate;
  noRate.AddMetadata("DataFormat", std::u16string(u"SIFloat"));
  EXPECT_THROW(CChannel(kId, ChannelDirW(), u"Channel_2", noRate, CRecordId(1000u, 1),
                        CAbstractRecordSection::OpenCreate, m_Store.get()),
               std::exception);
  EXPECT_FALSE(fs::exists(ChannelDir() / "Channel_2.zrm"));

  m_Store->FailAt(FaultInjectingFileAccess::Open, 1);
  EXPECT_THROW(CChannel(kId, ChannelDirW(), u"Channel_3", MetaData(1000.0f), CRecordId(1000u, 1),
                        CAbstractRecordSection::OpenCreate, m_Store.get()),
               std::exception);
}

TEST_F(ChannelTest, ArmingRecordsTheGeometryAndChoosesThePyramidDepth) {
  // Levels a part fills exactly: 1024 = 32^2, 44100 isn't a multiple of 32,
  // 65536 x 32 = 2 x 32^4; without parts the full depth stays.
  const struct {
    float rate;
    double partLength;
    int levels;
  } cases[] = {{1024.0f, 1.0, 2}, {44100.0f, 1.0, 0}, {65536.0f, 32.0, 4}, {1000.0f, 0.0, 4}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rate);
    auto channel = NewChannel(c.rate);
    ASSERT_TRUE(channel->ArmChannel(3.0, c.partLength));
    EXPECT_EQ(ChannelProbe::Writer(*channel).PyramidLevels(), c.levels);
    EXPECT_TRUE(fs::exists(Part(0)));
    EXPECT_EQ(fs::file_size(Part(0)), 0u);
    for (int level = 1; level <= 4; ++level) {
      EXPECT_EQ(fs::exists(Part(0, "_" + std::to_string(level) + ".zpr")), level <= c.levels);
    }
    EXPECT_EQ(channel->MaxRecordSamples(), static_cast<unsigned long long>(c.rate * 3.0));
    MetaDataContainer saved = SavedMetaData();
    float partLength = -1.0f;
    float maxLength = -1.0f;
    EXPECT_TRUE(saved.FindMetadata("PartLength", partLength));
    EXPECT_TRUE(saved.FindMetadata("MaxRecordLength", maxLength));
    EXPECT_EQ(partLength, static_cast<float>(c.partLength));
    EXPECT_EQ(maxLength, 3.0f);
    channel.reset();
    fs::remove_all(ChannelDir());
    fs::create_directories(ChannelDir());
  }
}

TEST_F(ChannelTest, BlocksAreCutExactlyAtPartBoundaries) {
  // 51200 samples per second and parts of 1/16 s: 3200 samples a part.
  auto channel = NewChannel(51200.0f);
  ASSERT_TRUE(channel->ArmChannel(0.0, 0.0625));
  Start(*channel);
  unsigned long long next = 0;
  Record(*channel, 3201, 3201, next);
  EXPECT_EQ(Samples(Part(0)).size(), 3200u);
  ASSERT_EQ(Samples(Part(1)).size(), 1u);
  EXPECT_EQ(Samples(Part(1))[0], 3200.0f);
  EXPECT_EQ(ChannelProbe::Writer(*channel).RemainingInSignalPart(), 3199u);

  // Blocks of odd sizes: one of them ends exactly at a boundary, one spans two.
  Record(*channel, 7000, 1333, next);
  std::vector<float> all;
  for (int part = 0; part <= 3; ++part) {
    const std::vector<float> samples = Samples(Part(part));
    EXPECT_EQ(samples.size(), part < 3 ? 3200u : 601u);
    all.insert(all.end(), samples.begin(), samples.end());
  }
  EXPECT_EQ(all, Ramp(10201, 0.0f));
  EXPECT_FALSE(fs::exists(Part(4)));

  EXPECT_EQ(channel->RecordedSamples(), 10201u);
  EXPECT_EQ(channel->SignalLengthSpl(false), 10201u);
  EXPECT_EQ(channel->FirstPart(), 0);
  EXPECT_EQ(channel->LastPart(), 3);
  // Ticks are truncated per piece of block.
  EXPECT_NEAR(static_cast<double>(channel->EndDate() - kStartDate), 10201 * 1e7 / 51200.0, 16.0);
  using Parts = std::pair<unsigned short, unsigned short>;
  EXPECT_EQ(TmpOnDisk().Parts(), Parts(0, 3));
}

TEST_F(ChannelTest, TemporaryRecordFileIsWrittenOncePerPartAndCompletedAtClose) {
  auto channel = NewChannel(1000.0f);
  ASSERT_TRUE(channel->ArmChannel(0.0, 1.0));
  Start(*channel);
  const int atStart = m_Store->Writes("TmpRecord.zrm");
  unsigned long long next = 0;
  Record(*channel, 3500, 100, next);
  EXPECT_EQ(m_Store->Writes("TmpRecord.zrm") - atStart, 4) << "35 blocks over 4 parts";
  EXPECT_EQ(m_Store->Writes("Channel_1.zrm.new"), 2) << "saved when added and when armed only";

  MetaDataFileLock lock(u"Metadata.lock", m_Dir.Wide(), m_Store, MetaDataFileLock::LockNone);
  channel->CloseChannel(&lock);
  EXPECT_FALSE(fs::exists(ChannelDir() / "TmpRecord.zrm"));
  MetaDataContainer saved = SavedMetaData();
  double duration = 0.0;
  long long startDate = 0;
  EXPECT_TRUE(saved.FindMetadata("RecordDuration", duration));
  EXPECT_DOUBLE_EQ(duration, 3.5);
  EXPECT_TRUE(saved.FindMetadata("RecordStartDate", startDate));
  EXPECT_EQ(startDate, kStartDate);
  EXPECT_EQ(SamplesOnDisk(), 3500u);

  // Without the lock the metadata file stays as armed; the record is closed all the same.
  fs::remove_all(ChannelDir());
  fs::create_directories(ChannelDir());
  channel = NewChannel(1000.0f);
  ASSERT_TRUE(channel->ArmChannel(0.0, 1.0));
  Start(*channel);
  Record(*channel, 1500, 500, next);
  channel->CloseChannel(nullptr);
  EXPECT_FALSE(fs::exists(ChannelDir() / "TmpRecord.zrm"));
  EXPECT_TRUE(SavedMetaData().FindMetadata("RecordDuration", duration));
  EXPECT_EQ(duration, 0.0) << "as armed";
}

TEST_F(ChannelTest, RingKeepsBetweenItsBoundAndOnePartMore) {
  // 1024 samples a part, a bound of 2.5 s, with the pyramid: 2 levels a part.
  auto channel = NewChannel(1024.0f);
  ASSERT_TRUE(channel->ArmChannel(2.5, 1.0));
  Start(*channel);
  const int atStart = m_Store->Writes("TmpRecord.zrm");
  unsigned long long next = 0;
  for (int block = 0; block < 80; ++block) {  // 10 s
    Record(*channel, 128, 128, next, true);
    const double kept = static_cast<double>(SamplesOnDisk()) / 1024.0;
    if (next >= 2560) {
      EXPECT_GE(kept, 2.5) << "after " << next << " samples";
      EXPECT_LE(kept, 3.5) << "after " << next << " samples";
    }
    EXPECT_EQ(channel->RecordedSamples(), SamplesOnDisk());
  }

  const unsigned short first = channel->FirstPart();
  EXPECT_EQ(channel->LastPart(), 9);
  EXPECT_EQ(first, 7) << "parts 7, 8 and 9 hold 2.x s plus the part being written";
  EXPECT_EQ(channel->RecordId().PartNumber(), first);
  for (int part = 0; part <= 9; ++part) {
    EXPECT_EQ(fs::exists(Part(part)), part >= first) << part;
    EXPECT_EQ(fs::exists(Part(part, "_1.zpr")), part >= first) << part;
  }
  EXPECT_EQ(Samples(Part(first))[0], first * 1024.0f);
  // Once per part and once per dropped part.
  EXPECT_EQ(m_Store->Writes("TmpRecord.zrm") - atStart, 10 + first);

  CTmpRecordFile tmp = TmpOnDisk();
  EXPECT_EQ(tmp.Parts(), std::make_pair(first, static_cast<unsigned short>(9)));
  const long long ticksPerPart = static_cast<long long>(1024 * (1.0 / (1024.0 * 1e-7)));
  EXPECT_EQ(tmp.RecordInfo().AbsoluteDate, kStartDate + first * ticksPerPart);
  EXPECT_EQ(tmp.RecordInfo().RelativeDate, static_cast<long long>(first) * 1024 << 16);

  const unsigned long long kept = SamplesOnDisk();
  MetaDataFileLock lock(u"Metadata.lock", m_Dir.Wide(), m_Store, MetaDataFileLock::LockNone);
  channel->CloseChannel(&lock);
  MetaDataContainer saved = SavedMetaData();
  double duration = 0.0;
  EXPECT_TRUE(saved.FindMetadata("RecordDuration", duration));
  EXPECT_DOUBLE_EQ(duration, kept / 1024.0);
}

TEST_F(ChannelTest, PartsThatCannotBeDeletedAreRetried) {
  // A bound of one part: each new part drops the oldest but one.
  auto channel = NewChannel(1024.0f);
  ASSERT_TRUE(channel->ArmChannel(1.0, 1.0));
  Start(*channel);
  unsigned long long next = 0;
  Record(*channel, 2048, 512, next);
  m_Store->FailAt(FaultInjectingFileAccess::Delete, 1);
  Record(*channel, 512, 512, next);  // part 2 begins: part 0 is dropped
  EXPECT_TRUE(fs::exists(Part(0)));
  EXPECT_EQ(ChannelProbe::SignalParts(*channel).PartsToDelete, std::vector<unsigned short>{0});
  EXPECT_EQ(channel->FirstPart(), 1) << "dropped all the same";

  Record(*channel, 1024, 512, next);  // part 3 begins: part 1 is dropped, part 0 retried
  EXPECT_FALSE(fs::exists(Part(0)));
  EXPECT_FALSE(fs::exists(Part(1)));
  EXPECT_TRUE(ChannelProbe::SignalParts(*channel).PartsToDelete.empty());

  // A part that keeps failing stays listed and is handed to the caller.
  m_Store->FailAt(FaultInjectingFileAccess::Delete, 1, true);
  Record(*channel, 1024, 512, next);
  std::vector<unsigned short> notDeleted;
  channel->DeleteParts(notDeleted);
  EXPECT_EQ(notDeleted, std::vector<unsigned short>{2});
  EXPECT_TRUE(fs::exists(Part(2)));
  m_Store->Reset();
  channel->DeleteParts(notDeleted);
  EXPECT_TRUE(notDeleted.empty());
  EXPECT_FALSE(fs::exists(Part(2)));
}

TEST_F(ChannelTest, PyramidFilesFollowEachPart) {
  auto channel = NewChannel(1024.0f);
  ASSERT_TRUE(channel->ArmChannel(0.0, 1.0));
  Start(*channel);
  unsigned long long next = 0;
  Record(*channel, 2560, 640, next, true);
  channel->CloseChannel(nullptr);
  for (int part = 0; part <= 2; ++part) {
    SCOPED_TRACE(part);
    const std::vector<float> level1 = Samples(Part(part, "_1.zpr"));
    ASSERT_EQ(level1.size(), part < 2 ? 64u : 32u);
    EXPECT_EQ(level1[0], part * 1024.0f);
    EXPECT_EQ(level1[1], part * 1024.0f + 31.0f);
    EXPECT_EQ(fs::exists(Part(part, "_2.zpr")), part < 2) << "a level-2 pair needs 1024 samples";
  }
  EXPECT_FALSE(fs::exists(Part(0, "_3.zpr")));

  // Bytes of the part files plus the estimated pyramid.
  unsigned long long expected = 0;
  for (int part = 0; part <= 2; ++part) {
    const unsigned long long b = fs::file_size(Part(part));
    expected += b + b / 16 + b / 512 + b / 16384 + b / 524288;
  }
  EXPECT_EQ(channel->SignalSizeInBytes(), expected);
}

TEST_F(ChannelTest, PartNumbersWrapAfter65535) {
  auto channel = NewChannel(1024.0f, 65534);
  ASSERT_TRUE(channel->ArmChannel(0.0, 1.0));
  Start(*channel);
  unsigned long long next = 0;
  Record(*channel, 3584, 512, next);
  for (int part : {65534, 65535, 0, 1}) EXPECT_TRUE(fs::exists(Part(part))) << part;
  EXPECT_EQ(Samples(Part(1)).size(), 512u);
  EXPECT_EQ(channel->FirstPart(), 65534);
  EXPECT_EQ(channel->LastPart(), 1);
  EXPECT_EQ(channel->SignalSizeInBytes(), 0u) << "a wrapped record reports no size";

  // Without parts the one file is measured directly.
  fs::remove_all(ChannelDir());
  fs::create_directories(ChannelDir());
  channel = NewChannel(1024.0f);
  ASSERT_TRUE(channel->ArmChannel(0.0, 0.0));
  Start(*channel);
  Record(*channel, 3000, 1000, next);
  EXPECT_EQ(Samples(Part(0)).size(), 3000u);
  EXPECT_EQ(channel->SignalSizeInBytes(), 12000u);
}

TEST_F(ChannelTest, FailedClosesAndRecordInformationAreToldAndLeaveTheNextTryInStep) {
  using Store = FaultInjectingFileAccess;
  // At the roll-over to part 1: the close of part 0, then the rewrite of the
  // temporary record file after the block's first write there.
  const struct {
    Store::Operation Op;
    unsigned long N;
    std::u16string Text;
    unsigned long long Recorded;
  } kRollOvers[] = {
      {Store::Close, 1, u"CChannel unable to close signal file: ", 1000},
      {Store::Seek, 1, u"CChannel unable to save record information (the block is written): ", 1010},
      {Store::Write, 2, u"CChannel unable to save record information (the block is written): ", 1010},
  };
  for (const auto& c : kRollOvers) {
    SCOPED_TRACE(c.N);
    fs::remove_all(ChannelDir());
    fs::create_directories(ChannelDir());
    auto channel = NewChannel(1000.0f);
    ASSERT_TRUE(channel->ArmChannel(0.0, 1.0));
    Start(*channel);
    unsigned long long next = 0;
    Record(*channel, 1000, 250, next);
    m_Store->FailAt(c.Op, c.N);
    const std::vector<float> block = Ramp(10, 1000.0f);
    EXPECT_FALSE(channel->WriteSampleBlock(block.data(), block.size(), false));
    EXPECT_EQ(channel->LastErrorString().rfind(c.Text, 0), 0u);
    EXPECT_EQ(channel->RecordedSamples(), c.Recorded);
    if (c.Recorded == 1000) {
      ASSERT_TRUE(channel->WriteSampleBlock(block.data(), block.size(), false));
    }
    EXPECT_EQ(Samples(Part(1)), block);

    // A close that fails keeps the temporary record file; the second try completes.
    MetaDataFileLock lock(u"Metadata.lock", m_Dir.Wide(), m_Store, MetaDataFileLock::LockNone);
    m_Store->FailAt(Store::Close, 1);
    EXPECT_FALSE(channel->CloseChannel(&lock));
    EXPECT_EQ(channel->LastErrorString().rfind(u"CChannel unable to close signal file: ", 0), 0u);
    EXPECT_TRUE(fs::exists(ChannelDir() / "TmpRecord.zrm"));
    EXPECT_TRUE(channel->CloseChannel(&lock));
    EXPECT_FALSE(fs::exists(ChannelDir() / "TmpRecord.zrm"));
    m_Store->Reset();
  }
}

TEST_F(ChannelTest, FailedWritesKeepWhatWasWritten) {
  auto channel = NewChannel(1000.0f);
  ASSERT_TRUE(channel->ArmChannel(0.0, 1.0));
  Start(*channel);
  unsigned long long next = 0;
  Record(*channel, 1000, 250, next);

  // The next part's file can't be created.
  m_Store->FailAt(FaultInjectingFileAccess::Open, 1);
  std::vector<float> block = Ramp(10, 1000.0f);
  EXPECT_FALSE(channel->WriteSampleBlock(block.data(), block.size(), false));
  EXPECT_EQ(channel->LastErrorString(), u"CChannel::WriteSampleBlock error (block)");
  EXPECT_EQ(Samples(Part(0)), Ramp(1000, 0.0f));
  EXPECT_EQ(channel->RecordedSamples(), 1000u);
  // The same block again, once the store works: it lands at the start of part 1.
  ASSERT_TRUE(channel->WriteSampleBlock(block.data(), block.size(), false));
  EXPECT_EQ(Samples(Part(1)), block);
  next = 1010;

  // A full disk in the middle of a block.
  m_Store->SetFreeSpace(150 * sizeof(float));
  Record(*channel, 100, 100, next);
  block = Ramp(100, static_cast<float>(next));
  EXPECT_FALSE(channel->WriteSampleBlock(block.data(), block.size(), false));
  EXPECT_EQ(channel->LastErrorString(), u"CChannel::WriteSampleBlock error (block)");
  EXPECT_EQ(channel->RecordedSamples(), 1110u);
  const std::vector<float> part1 = Samples(Part(1));
  ASSERT_GE(part1.size(), 110u);
  EXPECT_EQ(std::vector<float>(part1.begin(), part1.begin() + 110), Ramp(110, 1000.0f));
  m_Store->Reset();

  // The pyramid of the next part can't be created: the samples are still written.
  channel.reset();
  fs::remove_all(ChannelDir());
  fs::create_directories(ChannelDir());
  auto pyramid = NewChannel(1024.0f);
  ASSERT_TRUE(pyramid->ArmChannel(0.0, 1.0));
  next = 0;
  Record(*pyramid, 1024, 1024, next, true);
  m_Store->FailAt(FaultInjectingFileAccess::Open, 1);
  block = Ramp(64, 1024.0f);
  EXPECT_FALSE(pyramid->WriteSampleBlock(block.data(), block.size(), true));
  EXPECT_EQ(pyramid->LastErrorString(), u"CChannel::WriteSampleBlock error (compressed)");
  EXPECT_EQ(Samples(Part(1)), block);
  EXPECT_EQ(pyramid->RecordedSamples(), 1088u);
}

TEST_F(ChannelTest, ReadersOpenPartsOfFinishedAndGrowingRecords) {
  auto writer = NewChannel(1024.0f);
  ASSERT_TRUE(writer->ArmChannel(0.0, 1.0));
  Start(*writer);
  unsigned long long next = 0;
  Record(*writer, 1536, 512, next);

  // A reader beside the recording follows its parts through the temporary file.
  CChannel follower(kId, ChannelDirW(), u"Channel_1", CRecordId(1000u, 1),
                    CAbstractRecordSection::OpenRead, m_Store.get());
  EXPECT_EQ(follower.LastPart(), 1);
  Record(*writer, 1024, 512, next);
  follower.UpdateSignalLength(true, true);
  EXPECT_EQ(follower.LastPart(), 2);
  EXPECT_EQ(follower.SignalLengthSpl(false), 2560u);

  MetaDataFileLock lock(u"Metadata.lock", m_Dir.Wide(), m_Store, MetaDataFileLock::LockNone);
  writer->CloseChannel(&lock);
  writer.reset();

  CChannel reader(kId, ChannelDirW(), u"Channel_1", CRecordId(1000u, 1), 2,
                  CAbstractRecordSection::OpenRead, 0.0, 0, m_Store.get());
  EXPECT_EQ(reader.SignalLengthSpl(false), 2560u);
  EXPECT_EQ(reader.PartLength(), 1.0);
  CChannelPartReader& parts = ChannelProbe::Reader(reader);
  EXPECT_TRUE(parts.OpenPart(1, false));
  EXPECT_FALSE(ChannelProbe::SignalRead(reader).PartMissing);
  EXPECT_EQ(parts.RemainingInPart(), 1024u);
  parts.Advance(24);
  EXPECT_EQ(parts.RemainingInPart(), 1000u);

  EXPECT_FALSE(parts.OpenPart(5, false));
  EXPECT_EQ(reader.LastErrorString(), u"CChannel::OpenPart unable to open signal files: Part_5");

  // A part lost inside the record is a hole that reads fill.
  fs::remove(Part(1));
  ASSERT_TRUE(parts.OpenPart(0, false));
  EXPECT_TRUE(parts.OpenPart(1, false));
  EXPECT_TRUE(ChannelProbe::SignalRead(reader).PartMissing);

  // Without its metadata a channel is made all the same, and says why.
  fs::remove(ChannelDir() / "Channel_1.zrm");
  CChannel blind(kId, ChannelDirW(), u"Channel_1", CRecordId(1000u, 1), 2,
                 CAbstractRecordSection::OpenRead, 0.0, 0, m_Store.get());
  EXPECT_EQ(blind.LastErrorString().rfind(u"CChannel::ReadChannelMetaData() Error: ", 0), 0u);
  EXPECT_FALSE(blind.UpdateChannelMetaData(MetaData(1024.0f)));
  EXPECT_EQ(blind.LastErrorString(), u"CChannel::UpdateChannelMetaData invalid state");
}

}  // namespace
