#include <gtest/gtest.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileWriter.h>
#include <zsff/SignalFile.h>
#include <zsff/TmpRecordFile.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "support/FaultInjectingFileAccess.h"
#include "support/FileContents.h"

namespace fs = std::filesystem;
using namespace zsff;
using zsff_test::FaultInjectingFileAccess;
using zsff_test::TempDir;
using zsff_test::FileBytes;

namespace {

const std::string kPart = "Part_0";

template <typename T>
void WriteSamples(const fs::path& path, const std::vector<T>& samples, std::size_t extraBytes = 0) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(samples.data()),
            static_cast<std::streamsize>(samples.size() * sizeof(T)));
  for (std::size_t i = 0; i < extraBytes; ++i) out.put('\x5A');
}

// The eight scaling floats, in the order of the class.
std::vector<float> Scaling(const CSignalFileAccess& file) {
  float rc = 0, ro = 0, pc = 0, po = 0;
  file.GetRecordedCoeff(rc, ro);
  file.GetPostAnalysisCoeff(pc, po);
  return {rc,
          ro,
          pc,
          po,
          file.CoeffToVolt(),
          file.OffsetToVolt(),
          file.CoeffToPASI(),
          file.OffsetToPASI()};
}

// Writes a channel metadata file "Channel_1.zrm" into `directory`.
void SaveChannelMetaData(CAbstractFileAccess& access, const TempDir& directory,
                         const std::string& format, float rate, const double* duration) {
  MetaDataContainer metaData;
  CMetaDataChannelWriter writer(metaData);
  writer.Format(format);
  writer.Type("Torsional");
  writer.SamplingRate(rate);
  if (duration != nullptr) writer.RecordLength(*duration);
  ASSERT_TRUE(CMetaDataHeaderFileWriter(nullptr, &access)
                  .Save(metaData, u"Channel_1.zrm", directory.Wide()));
}

template <typename T, SampleFormat_t F>
struct Format {
  using Sample = T;
  static constexpr SampleFormat_t kFormat = F;
};

template <typename Param>
class SignalFileFormatTest : public ::testing::Test {
 protected:
  using T = typename Param::Sample;

  template <typename File>
  std::unique_ptr<File> Describe(std::unique_ptr<File> file, float rate) {
    file->SetSampleFormat(Param::kFormat);
    file->SetSampleSize(sizeof(T));
    file->SetSamplingRate(rate);
    return file;
  }
  std::unique_ptr<CSignalFileWriter> Writer(float rate) {
    return Describe(std::make_unique<CSignalFileWriter>(m_Dir.Path().string(), kPart, u"Channel_1",
                                                        &m_Access, nullptr),
                    rate);
  }
  std::unique_ptr<CSignalFileReader> Reader(float rate) {
    return Describe(std::make_unique<CSignalFileReader>(m_Dir.Path().string(), kPart, u"Channel_1",
                                                        &m_Access, nullptr, 0),
                    rate);
  }
  static std::vector<T> Ramp(std::size_t count, int first) {
    std::vector<T> samples;
    for (std::size_t i = 0; i < count; ++i) samples.push_back(static_cast<T>(first - 3 * int(i)));
    return samples;
  }
  fs::path PartPath() const { return m_Dir.Path() / (kPart + ".zrs"); }

  TempDir m_Dir;
  CLocalFileAccess m_Access;
};

using Formats = ::testing::Types<Format<float, SIFloat>, Format<double, SIDouble>,
                                 Format<std::int16_t, Compact16>, Format<std::int32_t, Raw32>>;
TYPED_TEST_SUITE(SignalFileFormatTest, Formats);

TYPED_TEST(SignalFileFormatTest, BlocksReadBackUpToTheStoredLength) {
  using T = typename TestFixture::T;
  auto writer = this->Writer(1000.0f);
  const std::vector<T> first = this->Ramp(21, 40);
  ASSERT_TRUE(writer->WriteSampleBlock(first.data(), 7));
  ASSERT_TRUE(writer->WriteSampleBlock(first.data() + 7, 1));
  ASSERT_TRUE(writer->WriteSampleBlock(first.data() + 8, 13));
  EXPECT_EQ(writer->SamplesWritten(), 21);
  EXPECT_DOUBLE_EQ(writer->RecordedLength(), 21 / 1000.0);
  EXPECT_EQ(writer->SignalFileSize(), 21 * sizeof(T));

  auto reader = this->Reader(1000.0f);
  long long length = -1;
  ASSERT_TRUE(reader->SignalLength(length));
  EXPECT_EQ(length, 21);
  std::vector<T> read(100, T(7));
  ASSERT_EQ(reader->ReadSampleBlock(read.data(), read.size()), 21u);
  EXPECT_EQ(std::vector<T>(read.begin(), read.begin() + 21), first);
  EXPECT_EQ(read[21], T(7));  // nothing written behind what was read
  EXPECT_TRUE(reader->EndOfReading());
  EXPECT_EQ(reader->ReadSampleBlock(read.data(), read.size()), 0u);

  // Samples that arrive later stay unseen until the length is refreshed.
  const std::vector<T> second = this->Ramp(5, -100);
  ASSERT_TRUE(writer->WriteSampleBlock(second.data(), second.size()));
  EXPECT_EQ(reader->ReadSampleBlock(read.data(), read.size()), 0u);
  ASSERT_TRUE(reader->UpdateSignalLength());
  EXPECT_FALSE(reader->EndOfReading());
  ASSERT_EQ(reader->ReadSampleBlock(read.data(), 3), 3u);
  ASSERT_EQ(reader->ReadSampleBlock(read.data() + 3, 3), 2u);
  EXPECT_EQ(std::vector<T>(read.begin(), read.begin() + 5), second);
  EXPECT_EQ(reader->GetReadPosSpl(), 26u);
}

TYPED_TEST(SignalFileFormatTest, SeekByTimeRefusesTheEndWhileSeekBySamplesAcceptsIt) {
  using T = typename TestFixture::T;
  const std::vector<T> samples = this->Ramp(10, 0);
  WriteSamples(this->PartPath(), samples, sizeof(T) - 1);  // a trailing fraction of a sample
  auto reader = this->Reader(8.0f);  // 10 whole samples: 1.25 s
  EXPECT_DOUBLE_EQ(reader->SignalLength(), 1.25);

  ASSERT_TRUE(reader->SetReadPosSpl(3));
  EXPECT_FALSE(reader->SetReadPos(1.25));  // exactly the length
  EXPECT_FALSE(reader->SetReadPos(-0.125));
  EXPECT_EQ(reader->GetReadPosSpl(), 3u);  // failed seeks don't move

  ASSERT_TRUE(reader->SetReadPos(1.2));  // 9.6 samples, truncated to 9
  EXPECT_EQ(reader->GetReadPosSpl(), 9u);
  EXPECT_DOUBLE_EQ(reader->GetReadPos(), 9 / 8.0);
  T last[2]{};
  ASSERT_EQ(reader->ReadSampleBlock(last, 2), 1u);  // the fraction behind it is no sample
  EXPECT_EQ(last[0], samples[9]);

  ASSERT_TRUE(reader->SetReadPosSpl(4));
  EXPECT_FALSE(reader->EndOfReading());
  EXPECT_TRUE(reader->SetReadPosSpl(10));  // the end itself
  EXPECT_TRUE(reader->EndOfReading());
  EXPECT_EQ(reader->ReadSampleBlock(last, 1), 0u);
  EXPECT_FALSE(reader->SetReadPosSpl(11));
  EXPECT_EQ(reader->GetReadPosSpl(), 10u);

  // The position is kept in the file too: reading after a seek back starts there.
  ASSERT_TRUE(reader->SetReadPos(0.5));
  std::vector<T> read(3);
  ASSERT_EQ(reader->ReadSampleBlock(read.data(), read.size()), 3u);
  EXPECT_EQ(read, std::vector<T>(samples.begin() + 4, samples.begin() + 7));
}

TEST(SignalFileTest, EmptyAndMissingFiles) {
  TempDir dir;
  CLocalFileAccess access;
  CSignalFileReader reader(dir.Path().string(), kPart, u"Channel_1", &access, nullptr, 0);
  reader.SetSamplingRate(100.0f);

  long long length = 99;
  EXPECT_FALSE(reader.SignalLength(length));
  EXPECT_EQ(length, 0);
  EXPECT_EQ(reader.SignalLength(), -1.0);
  EXPECT_EQ(reader.SignalFileSize(), 0u);
  EXPECT_FALSE(reader.SignalFileExists());
  EXPECT_FALSE(reader.OpenSignalFile());  // a rate from outside: the file must be there
  EXPECT_TRUE(reader.FileClosed());

  WriteSamples<float>(dir.Path() / "Part_0.zrs", {});
  EXPECT_TRUE(reader.SignalFileExists());
  ASSERT_TRUE(reader.SetReadPos(0.0));
  EXPECT_FALSE(reader.FileClosed());
  EXPECT_FALSE(reader.SetReadPos(0.5));
  float sample = 0;
  EXPECT_EQ(reader.ReadSampleBlock(&sample, 1), 0u);
  EXPECT_TRUE(reader.EndOfReading());
  reader.CloseSignalFile(false);
  EXPECT_TRUE(reader.FileClosed());
  EXPECT_FALSE(reader.EndOfReading());  // a closed file is never at its end
}

TEST(SignalFileTest, LengthInSecondsNeedsARate) {
  TempDir dir;
  CLocalFileAccess access;
  WriteSamples<std::int16_t>(dir.Path() / "Part_0.zrs", {1, 2, 3, 4, 5, 6});
  CSignalFileReader reader(dir.Path().string(), kPart, u"Channel_1", &access, nullptr, 0);
  reader.SetSampleSize(2);
  long long length = 0;
  ASSERT_TRUE(reader.SignalLength(length));
  EXPECT_EQ(length, 6);
  EXPECT_EQ(reader.SignalLength(), -1.0);
  EXPECT_EQ(reader.GetReadPos(), 0.0);
  reader.SetSamplingRate(4.0f);
  EXPECT_DOUBLE_EQ(reader.SignalLength(), 1.5);
  EXPECT_DOUBLE_EQ(reader.AbsTimeStep(), 2.5e6);
}

TEST(SignalFileTest, ReaderWithoutARateTakesTheDescriptionFromMetadata) {
  TempDir dir;
  CLocalFileAccess access;
  const double duration = 2.0;
  SaveChannelMetaData(access, dir, "Compact16", 250.0f, &duration);
  std::vector<std::int16_t> samples(500);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<std::int16_t>(i * 7);
  WriteSamples(dir.Path() / "Part_0.zrs", samples);

  CSignalFileReader reader(dir.Path().string(), kPart, u"Channel_1", &access, nullptr, 3);
  ASSERT_TRUE(reader.SetReadPos(1.0));  // opens on demand
  EXPECT_EQ(reader.SampleFormat(), Compact16);
  EXPECT_EQ(reader.SampleSize(), 2u);
  EXPECT_EQ(reader.SignalType(), Torsional);
  EXPECT_EQ(reader.SamplingRate(), 250.0);
  EXPECT_EQ(reader.AbsTimeStep(), 0.0);  // the rate from metadata leaves the step alone
  EXPECT_EQ(reader.GetReadPosSpl(), 250u);
  std::vector<std::int16_t> read(1000);
  ASSERT_EQ(reader.ReadSampleBlock(read.data(), read.size()), 250u);
  EXPECT_TRUE(std::equal(samples.begin() + 250, samples.end(), read.begin()));
}

TEST(SignalFileTest, MissingPartFileIsAcceptedOnlyForAnEmptyRecord) {
  TempDir dir;
  CLocalFileAccess access;
  const double empty = 0.0;
  SaveChannelMetaData(access, dir, "SIFloat", 100.0f, &empty);

  const auto reader = [&](const char16_t* channel) {
    return std::make_unique<CSignalFileReader>(dir.Path().string(), kPart, channel, &access,
                                               nullptr, 0);
  };
  auto opened = reader(u"Channel_1");
  EXPECT_TRUE(opened->OpenSignalFile());
  EXPECT_TRUE(opened->FileClosed());
  float sample = 0;
  EXPECT_EQ(opened->ReadSampleBlock(&sample, 1), 0u);
  EXPECT_FALSE(fs::exists(dir.Path() / "Part_0.zrs"));

  EXPECT_TRUE(reader(u"Channel_1")->SetReadPos(0.0));
  EXPECT_FALSE(reader(u"Channel_1")->SetReadPos(0.5));

  auto told = reader(u"Channel_1");
  told->SetSamplingRate(100.0f);
  EXPECT_FALSE(told->OpenSignalFile());

  const double full = 3.0;
  SaveChannelMetaData(access, dir, "SIFloat", 100.0f, &full);
  EXPECT_FALSE(reader(u"Channel_1")->OpenSignalFile());
  EXPECT_FALSE(reader(u"Channel_9")->OpenSignalFile());  // no metadata
}

// The part file vanishes right after its size was read, as when a ring drops the
// part between a reader's two looks.
class VanishingFileAccess : public FaultInjectingFileAccess {
 public:
  using FaultInjectingFileAccess::FaultInjectingFileAccess;
  bool vanish = false;
  bool FileSize(const std::string& path, unsigned long long& size) override {
    const bool found = FaultInjectingFileAccess::FileSize(path, size);
    if (vanish) fs::remove(path);
    return found;
  }
};

TEST(SignalFileTest, ReaderOpensReadOnlyAndNeverRecreatesAVanishedFile) {
  TempDir dir;
  VanishingFileAccess access(std::make_shared<CLocalFileAccess>());
  WriteSamples<float>(dir.Path() / "Part_0.zrs", {1, 2, 3});
  CSignalFileReader reader(dir.Path().string(), kPart, u"Channel_1", &access, nullptr, 0);
  reader.SetSamplingRate(100.0f);
  float samples[3] = {};
  ASSERT_EQ(reader.ReadSampleBlock(samples, 3), 3u);
  reader.CloseSignalFile(false);

  access.vanish = true;
  EXPECT_FALSE(reader.OpenSignalFile());
  EXPECT_TRUE(reader.FileClosed());
  EXPECT_FALSE(fs::exists(dir.Path() / "Part_0.zrs"));
  for (FileOpenMode_t mode : access.OpenModes()) EXPECT_EQ(mode, FileModeRead);
}

TEST(SignalFileTest, ScalingSettersIgnoreUnsetValues) {
  CSignalFileReader file("", kPart, u"Channel_1", nullptr, nullptr, 0);
  EXPECT_EQ(Scaling(file), (std::vector<float>{1, 0, 1, 0, 1, 0, 1, 0}));

  file.SetRecordedCoeff(2.0f, 3.0f);
  EXPECT_EQ(Scaling(file), (std::vector<float>{2, 3, 2, 3, 2, -3, 1, 0}));
  file.SetPostAnalysisCoeff(4.0f, 5.0f);
  // Recorded and volt pairs stay; the post-analysis conversion is recorded / c
  // and (d - recorded offset) / c.
  EXPECT_EQ(Scaling(file), (std::vector<float>{2, 3, 4, 5, 2, -3, 0.5f, 0.5f}));

  const std::vector<float> before = Scaling(file);
  file.SetRecordedCoeff(0.0f, 7.0f);
  file.SetRecordedCoeff(9.0f, 1e38f);
  file.SetPostAnalysisCoeff(0.0f, 1.0f);
  file.SetPostAnalysisCoeff(3.0f, 1e38f);
  EXPECT_EQ(Scaling(file), before);

  // A new recorded pair resets the post-analysis settings to it.
  file.SetRecordedCoeff(-8.0f, 0.25f);
  EXPECT_EQ(Scaling(file), (std::vector<float>{-8, 0.25f, -8, 0.25f, -8, -0.25f, 1, 0}));
}

TEST(SignalFileTest, WriterResultStaysTrueWhenTheDiskFails) {
  TempDir dir;
  FaultInjectingFileAccess store(std::make_shared<CLocalFileAccess>());
  CSignalFileWriter writer(dir.Path().string(), kPart, u"Channel_1", &store, nullptr);
  writer.SetSampleSize(4);
  writer.SetSamplingRate(10.0f);
  const std::vector<float> samples(10, 1.5f);

  EXPECT_FALSE(writer.WriteSampleBlock(samples.data(), 0));

  store.FailAt(FaultInjectingFileAccess::Open, 1);
  EXPECT_TRUE(writer.WriteSampleBlock(samples.data(), samples.size()));
  EXPECT_EQ(writer.SamplesWritten(), 0);
  EXPECT_FALSE(fs::exists(dir.Path() / "Part_0.zrs"));

  ASSERT_TRUE(writer.WriteSampleBlock(samples.data(), 4));
  EXPECT_EQ(writer.SamplesWritten(), 4);
  store.SetFreeSpace(10);  // the next block doesn't fit whole
  EXPECT_TRUE(writer.WriteSampleBlock(samples.data(), samples.size()));
  EXPECT_EQ(writer.SamplesWritten(), 4);
  EXPECT_DOUBLE_EQ(writer.RecordedLength(), 0.4);
  // What fitted of the failed block is cut off again, so the next block follows
  // the samples counted; a cut that fails too stops the writing for good.
  EXPECT_EQ(fs::file_size(dir.Path() / "Part_0.zrs"), 16u);
  store.Reset();
  ASSERT_TRUE(writer.WriteSampleBlock(samples.data(), 4));
  EXPECT_EQ(writer.SamplesWritten(), 8);
  EXPECT_EQ(fs::file_size(dir.Path() / "Part_0.zrs"), 32u);
  store.FailAt(FaultInjectingFileAccess::Write, 1);
  store.FailAt(FaultInjectingFileAccess::SetEnd, 1);
  EXPECT_TRUE(writer.WriteSampleBlock(samples.data(), 4));
  EXPECT_TRUE(writer.WriteSampleBlock(samples.data(), 4));
  EXPECT_EQ(writer.SamplesWritten(), 8);
  EXPECT_EQ(fs::file_size(dir.Path() / "Part_0.zrs"), 32u);

  CSignalFileWriter detached(dir.Path().string(), kPart, u"Channel_1", nullptr, nullptr);
  EXPECT_FALSE(detached.OpenSignalFile());
  EXPECT_TRUE(detached.WriteSampleBlock(samples.data(), samples.size()));
  EXPECT_EQ(detached.SamplesWritten(), 0);

  CSignalFileReader reader(dir.Path().string(), kPart, u"Channel_1", &store, nullptr, 0);
  EXPECT_FALSE(reader.WriteSampleBlock(samples.data(), samples.size()));
  EXPECT_EQ(reader.RecordedLength(), 0.0);
}

TEST(SignalFileTest, WriterTruncatesAnOldFile) {
  TempDir dir;
  CLocalFileAccess access;
  WriteSamples<double>(dir.Path() / "Part_0.zrs", std::vector<double>(50, 9.0));
  CSignalFileWriter writer(dir.Path().string(), kPart, u"Channel_1", &access, nullptr);
  writer.SetSampleSize(8);
  const std::vector<double> samples{1.0, 2.0, 3.0};
  ASSERT_TRUE(writer.WriteSampleBlock(samples.data(), samples.size()));
  writer.CloseSignalFile(true);
  const std::vector<char> bytes = FileBytes(dir.Path() / "Part_0.zrs");
  ASSERT_EQ(bytes.size(), 24u);
  EXPECT_EQ(std::memcmp(bytes.data(), samples.data(), bytes.size()), 0);
}

TEST(SignalFileTest, FailedReadKeepsThePosition) {
  TempDir dir;
  CLocalFileAccess access;
  const fs::path path = dir.Path() / "Part_0.zrs";
  std::vector<std::int32_t> samples(10);
  for (int i = 0; i < 10; ++i) samples[i] = 1000 + i;
  WriteSamples(path, samples);

  CSignalFileReader reader(dir.Path().string(), kPart, u"Channel_1", &access, nullptr, 0);
  reader.SetSampleSize(4);
  reader.SetSamplingRate(1.0f);
  ASSERT_TRUE(reader.SetReadPosSpl(2));

  // The file shrinks under the reader: the read fails part way through.
  fs::resize_file(path, 6 * 4);
  std::vector<std::int32_t> read(8, 0);
  EXPECT_EQ(reader.ReadSampleBlock(read.data(), read.size()), 0u);
  EXPECT_EQ(reader.GetReadPosSpl(), 2u);

  // Once the samples are back, reading goes on from the position it reported.
  WriteSamples(path, samples);
  ASSERT_EQ(reader.ReadSampleBlock(read.data(), read.size()), 8u);
  EXPECT_EQ(read, std::vector<std::int32_t>(samples.begin() + 2, samples.end()));
}

TEST(SignalFileTest, StartDateAndTimeStepComeFromTheTemporaryRecordFile) {
  TempDir dir;
  CLocalFileAccess access;
  CSignalFileReader alone(dir.Path().string(), kPart, u"Channel_1", &access, nullptr, 0);
  EXPECT_EQ(alone.StartDate(), 0);
  EXPECT_EQ(alone.RelTimeStep(), 1);

  TAG_RECORD_INFO info;
  info.AbsoluteDate = 133000000000000000LL;
  info.TimeStep = 4;
  CTmpRecordFile written(dir.Path().string(), &access);
  written.SetRecordInfo(info);
  ASSERT_TRUE(written.Write());

  CTmpRecordFile fresh(dir.Path().string(), &access);  // not read yet
  CSignalFileReader reader(dir.Path().string(), kPart, u"Channel_1", &access, &fresh, 0);
  EXPECT_EQ(reader.StartDate(), info.AbsoluteDate);
  EXPECT_EQ(reader.RelTimeStep(), 4);
}

}  // namespace
