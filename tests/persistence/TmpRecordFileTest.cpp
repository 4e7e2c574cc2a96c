#include <gtest/gtest.h>
#include <unistd.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/DateTime.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/TmpRecordFile.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "support/CapturedDiagnostics.h"
#include "support/FileContents.h"
#include "support/RecordInfoExpectations.h"

namespace fs = std::filesystem;
using zsff::CLocalFileAccess;
using zsff::CTmpRecordFile;
using zsff::MetaDataContainer;
using zsff::TAG_RECORD_INFO;
using zsff_test::ExpectSameInfo;
using zsff_test::ReadWholeFile;

namespace {

using Bytes = std::vector<unsigned char>;

// One record information whose every byte differs from its neighbours, so that a
// field at a wrong offset or in a wrong byte order can't go unnoticed.
TAG_RECORD_INFO SampleInfo() {
  TAG_RECORD_INFO info;
  info.AbsoluteDate = 0x01D2A3B4C5D6E7F8LL;
  info.RelativeDate = 0x0000001122334455LL;
  info.CumulativeDate = 2.5;
  info.SignalOffset = -1.5f;
  info.UncompactCoeff = 0.25f;
  info.UncompactOffset = 3.0f;
  info.RecordNumber = 0x0102;
  info.TimeStep = 0x0304;
  return info;
}
const unsigned short kFirstPart = 0x0506;
const unsigned short kLastPart = 0x0708;

const Bytes kDates = {
    0xF8, 0xE7, 0xD6, 0xC5, 0xB4, 0xA3, 0xD2, 0x01,  // AbsoluteDate
    0x55, 0x44, 0x33, 0x22, 0x11, 0x00, 0x00, 0x00,  // RelativeDate
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0x40,  // CumulativeDate 2.5
};
const Bytes kScalingAndParts = {
    0x00, 0x00, 0xC0, 0xBF,  // SignalOffset -1.5
    0x00, 0x00, 0x80, 0x3E,  // UncompactCoeff 0.25
    0x00, 0x00, 0x40, 0x40,  // UncompactOffset 3.0
    0x02, 0x01,              // RecordNumber
    0x04, 0x03,              // TimeStep
    0x06, 0x05,              // first part
    0x08, 0x07,              // last part
};

Bytes Concat(std::initializer_list<Bytes> pieces) {
  Bytes all;
  for (const Bytes& piece : pieces) all.insert(all.end(), piece.begin(), piece.end());
  return all;
}

Bytes Version2File() { return Concat({{0x02, 0x00, 0x00, 0x00}, kDates, kScalingAndParts}); }

Bytes Version1File() {
  return Concat({{0x01, 0x00, 0x00, 0x00}, kDates, Bytes(16, 0xEE), kScalingAndParts});
}

void WriteBytes(const fs::path& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
}

// The value under `key`, which must be there in a form that converts to T.
template <typename T>
T Found(const MetaDataContainer& container, const std::string& key) {
  T value{};
  EXPECT_TRUE(container.FindMetadata(key, value)) << key;
  return value;
}

// The local store with faults to order, and a count of the calls that matter.
class FaultyStore : public CLocalFileAccess {
 public:
  using CLocalFileAccess::DeleteFile;
  using CLocalFileAccess::FileExists;
  using CLocalFileAccess::OpenFile;

  bool OpenFile(const std::string& path, zsff::FileOpenMode_t mode, unsigned int& handle) override {
    if (mode == zsff::FileModeCreate) ++createOpens;
    return CLocalFileAccess::OpenFile(path, mode, handle);
  }
  bool FileExists(const std::string& path) override {
    const bool exists = CLocalFileAccess::FileExists(path);
    // The file is there when asked and gone before it is opened.
    if (vanishAfterExists) ::unlink(path.c_str());
    return exists;
  }
  bool DeleteFile(const std::string& path) override {
    ++deletes;
    return refuseDelete ? false : CLocalFileAccess::DeleteFile(path);
  }
  bool SeekFile(unsigned int handle, long long offset, int origin) override {
    return failSeek ? false : CLocalFileAccess::SeekFile(handle, offset, origin);
  }
  bool FlushFile(unsigned int handle) override {
    return failFlush ? false : CLocalFileAccess::FlushFile(handle);
  }

  bool vanishAfterExists = false;
  bool refuseDelete = false;
  bool failSeek = false;
  bool failFlush = false;
  int createOpens = 0;
  int deletes = 0;
};

struct Fixture {
  zsff_test::TempDir dir;
  FaultyStore store;
  fs::path file = dir.Path() / "TmpRecord.zrm";
  std::string directory = dir.Path().string();
};

}  // namespace

TEST(TmpRecordFileTest, NewObjectHasDefaultsAndPathUsesStoreSeparator) {
  Fixture f;
  CTmpRecordFile tmp(f.directory, &f.store);
  EXPECT_FALSE(tmp.IsValid());
  EXPECT_FALSE(tmp.Exists());
  EXPECT_EQ(tmp.PreviousFileSize(), 0u);
  ExpectSameInfo(tmp.RecordInfo(), TAG_RECORD_INFO());
  EXPECT_EQ(tmp.Parts(), (std::pair<unsigned short, unsigned short>(0, 0)));
}

TEST(TmpRecordFileTest, WritesVersion2ByteForByteAndRewritesInPlace) {
  Fixture f;
  CTmpRecordFile tmp(f.directory, &f.store);
  tmp.SetRecordInfo(SampleInfo());
  tmp.SetParts(kFirstPart, kLastPart);
  ASSERT_TRUE(tmp.Write());
  EXPECT_TRUE(tmp.Exists());
  EXPECT_EQ(ReadWholeFile<Bytes>(f.file), Version2File());

  // The next part: same handle, same 48 bytes overwritten.
  tmp.SetParts(kFirstPart, kLastPart + 1);
  ASSERT_TRUE(tmp.Write());
  Bytes expected = Version2File();
  expected[46] = 0x09;
  EXPECT_EQ(ReadWholeFile<Bytes>(f.file), expected);
  EXPECT_EQ(f.store.createOpens, 1);

  // A reader of its own sees what the writer left.
  CTmpRecordFile reader(f.directory, &f.store);
  ASSERT_TRUE(reader.Read());
  ExpectSameInfo(reader.RecordInfo(), SampleInfo());
  EXPECT_EQ(reader.Parts(), std::make_pair(kFirstPart, static_cast<unsigned short>(kLastPart + 1)));
}

TEST(TmpRecordFileTest, ReadsBothVersionsAndRewritesVersion1AsVersion2) {
  Fixture f;
  for (const Bytes& file : {Version2File(), Version1File()}) {
    WriteBytes(f.file, file);
    CTmpRecordFile tmp(f.directory, &f.store);
    EXPECT_TRUE(tmp.Read());
    EXPECT_TRUE(tmp.IsValid());
    ExpectSameInfo(tmp.RecordInfo(), SampleInfo());
    EXPECT_EQ(tmp.Parts(), std::make_pair(kFirstPart, kLastPart));
    // The first write of an object truncates: version 1's 64 bytes become the new 48.
    ASSERT_TRUE(tmp.Write());
    EXPECT_EQ(ReadWholeFile<Bytes>(f.file), Version2File());
  }

  // Bytes behind the last field are never looked at.
  Bytes oversized = Version2File();
  oversized.resize(4000, 0xAB);
  WriteBytes(f.file, oversized);
  CTmpRecordFile big(f.directory, &f.store);
  EXPECT_TRUE(big.Read());
  ExpectSameInfo(big.RecordInfo(), SampleInfo());
}

TEST(TmpRecordFileTest, RefusesBadVersionOrMissingDateAfterTakingFields) {
  zsff_test::CapturedDiagnostics diagnostics;
  Fixture f;
  Bytes version3 = Version2File();
  version3[0] = 0x03;
  WriteBytes(f.file, version3);
  CTmpRecordFile tmp(f.directory, &f.store);
  EXPECT_FALSE(tmp.Read());
  EXPECT_EQ(diagnostics.Take(), "CTmpRecordFile::Read() Error in file: " + f.file.string() +
                                    ", version = 3 (expected 1 or 2), AbsoluteDate = " +
                                    std::to_string(SampleInfo().AbsoluteDate) +
                                    " (must be != 0)\n");
  EXPECT_FALSE(tmp.IsValid());
  // Not valid, so RecordInfo() reads again and shows the file's fields once more.
  ExpectSameInfo(tmp.RecordInfo(), SampleInfo());
  EXPECT_NE(diagnostics.Take().find("version = 3"), std::string::npos);

  for (Bytes file : {Version1File(), Version2File()}) {
    std::fill(file.begin() + 4, file.begin() + 12, 0);  // AbsoluteDate 0
    WriteBytes(f.file, file);
    CTmpRecordFile undated(f.directory, &f.store);
    EXPECT_FALSE(undated.Read());
    EXPECT_NE(diagnostics.Take().find("AbsoluteDate = 0 (must be != 0)"), std::string::npos);
  }
}

TEST(TmpRecordFileTest, TruncatedFilesFailWithReadMessage) {
  zsff_test::CapturedDiagnostics diagnostics;
  Fixture f;
  const std::string message =
      "CTmpRecordFile::Read() Unable to read file: " + f.file.string() + "\n";
  for (const Bytes& whole : {Version1File(), Version2File()}) {
    for (size_t length = 0; length < whole.size(); ++length) {
      WriteBytes(f.file, Bytes(whole.begin(), whole.begin() + static_cast<long>(length)));
      CTmpRecordFile tmp(f.directory, &f.store);
      EXPECT_FALSE(tmp.Read()) << "length " << length;
      EXPECT_EQ(diagnostics.Take(), message) << "length " << length;
      EXPECT_FALSE(tmp.IsValid());
    }
  }
}

TEST(TmpRecordFileTest, MissingOrVanishingFileFailsAsToldWithoutValidity) {
  zsff_test::CapturedDiagnostics diagnostics;
  Fixture f;
  CTmpRecordFile tmp(f.directory, &f.store);
  EXPECT_FALSE(tmp.Read());
  EXPECT_FALSE(tmp.Load());
  EXPECT_EQ(diagnostics.Take(), "");

  WriteBytes(f.file, Version2File());
  f.store.vanishAfterExists = true;
  EXPECT_FALSE(tmp.Read());
  EXPECT_EQ(diagnostics.Take(),
            "CTmpRecordFile::Read() Unable to open file: " + f.file.string() + "\n");
  EXPECT_FALSE(tmp.IsValid());

  CTmpRecordFile noStore(f.directory, nullptr);
  EXPECT_FALSE(noStore.Exists());
  EXPECT_FALSE(noStore.Read());
  EXPECT_FALSE(noStore.Write());
  EXPECT_FALSE(noStore.IsValid());
}

TEST(TmpRecordFileTest, ValidityDecidesWhetherTheDiskIsRead) {
  Fixture f;
  WriteBytes(f.file, Version2File());
  CTmpRecordFile tmp(f.directory, &f.store);

  TAG_RECORD_INFO own = SampleInfo();
  own.AbsoluteDate = 42;
  tmp.SetRecordInfo(own);
  EXPECT_TRUE(tmp.IsValid());
  EXPECT_TRUE(tmp.Load());
  EXPECT_EQ(tmp.RecordInfo().AbsoluteDate, 42);

  // Without a start date the information isn't trusted and the file wins.
  own.AbsoluteDate = 0;
  tmp.SetRecordInfo(own);
  EXPECT_FALSE(tmp.IsValid());
  EXPECT_EQ(tmp.RecordInfo().AbsoluteDate, SampleInfo().AbsoluteDate);
  EXPECT_TRUE(tmp.IsValid());

  // SetParts alone never reads.
  CTmpRecordFile parts(f.directory, &f.store);
  parts.SetParts(1, 2);
  EXPECT_FALSE(parts.IsValid());
  EXPECT_EQ(parts.Parts(), std::make_pair(kFirstPart, kLastPart));
}

TEST(TmpRecordFileTest, WriteReportsStoreFailuresAndRecovers) {
  Fixture f;
  CTmpRecordFile tmp(f.directory, &f.store);
  tmp.SetRecordInfo(SampleInfo());
  tmp.SetParts(kFirstPart, kLastPart);

  f.store.failFlush = true;
  EXPECT_FALSE(tmp.Write());
  EXPECT_TRUE(tmp.IsValid());
  f.store.failFlush = false;

  // A failed seek gives up the handle; the write after it starts a fresh file.
  f.store.failSeek = true;
  EXPECT_FALSE(tmp.Write());
  f.store.failSeek = false;
  WriteBytes(f.file, Bytes(100, 0x11));
  EXPECT_TRUE(tmp.Write());
  EXPECT_EQ(f.store.createOpens, 2);
  EXPECT_EQ(ReadWholeFile<Bytes>(f.file), Version2File());
}

TEST(TmpRecordFileTest, DeleteClosesRetriesAndKeepsTheInformation) {
  zsff_test::CapturedDiagnostics diagnostics;
  Fixture f;
  CTmpRecordFile tmp(f.directory, &f.store);
  EXPECT_TRUE(tmp.Delete());  // nothing there: true at the first check
  EXPECT_EQ(f.store.deletes, 1);

  tmp.SetRecordInfo(SampleInfo());
  ASSERT_TRUE(tmp.Write());
  f.store.refuseDelete = true;
  f.store.deletes = 0;
  EXPECT_FALSE(tmp.Delete());
  EXPECT_EQ(diagnostics.Take(),
            "CTmpRecordFile::Delete() Unable to delete file: " + f.file.string() + "\n");
  EXPECT_EQ(f.store.deletes, 20);

  f.store.refuseDelete = false;
  EXPECT_TRUE(tmp.Delete());
  EXPECT_FALSE(fs::exists(f.file));
  EXPECT_TRUE(tmp.IsValid());
  ExpectSameInfo(tmp.RecordInfo(), SampleInfo());

  // The handle was closed by the first Delete: the next Write creates the file anew.
  ASSERT_TRUE(tmp.Write());
  EXPECT_EQ(ReadWholeFile<Bytes>(f.file).size(), 48u);
}

TEST(TmpRecordFileTest, FromContainerFillsFieldsAndResetsNumberAndStep) {
  Fixture f;
  CTmpRecordFile tmp(f.directory, &f.store);
  TAG_RECORD_INFO before = SampleInfo();
  before.TimeStep = 7;
  before.RecordNumber = 9;
  tmp.SetRecordInfo(before);

  MetaDataContainer in;
  in.AddMetadata("RecordStartDate", 1234567LL);
  in.AddMetadata("RecordRelativeDate", 99L);  // a long widens to long long
  in.AddMetadata("RecordCumulativeDate", 1.25f);
  in.AddMetadata("SignalUncompactCoeff", 0.5);  // a double narrows to float
  in.AddMetadata("SignalUncompactOffset", -2.0f);
  in.AddMetadata("RecordNumber", 3LL);  // a long long is never narrowed: not found
  tmp.FromMetaDataContainer(in);

  const TAG_RECORD_INFO& info = tmp.RecordInfo();
  EXPECT_EQ(info.AbsoluteDate, 1234567);
  EXPECT_EQ(info.RelativeDate, 99);
  EXPECT_EQ(info.CumulativeDate, 1.25);
  EXPECT_EQ(info.SignalOffset, before.SignalOffset);  // missing: kept
  EXPECT_EQ(info.UncompactCoeff, 0.5f);
  EXPECT_EQ(info.UncompactOffset, -2.0f);
  EXPECT_EQ(info.RecordNumber, 0);  // missing as long: default
  EXPECT_EQ(info.TimeStep, 1);      // missing: default
  EXPECT_TRUE(tmp.IsValid());

  MetaDataContainer numbered;
  numbered.AddMetadata("RecordNumber", 70000L);  // cut to 16 bits
  numbered.AddMetadata("SignalTimeStep", 4L);
  numbered.AddMetadata("RecordStartDate", 0LL);
  tmp.FromMetaDataContainer(numbered);
  EXPECT_FALSE(tmp.IsValid());
  // No file on disk, so RecordInfo() keeps what is in memory.
  EXPECT_EQ(tmp.RecordInfo().RecordNumber, 70000 % 65536);
  EXPECT_EQ(tmp.RecordInfo().TimeStep, 4);
}

TEST(TmpRecordFileTest, ToContainerTakesLengthFromSignalSize) {
  Fixture f;
  {
    CTmpRecordFile writer(f.directory, &f.store);
    writer.SetRecordInfo(SampleInfo());
    ASSERT_TRUE(writer.Write());
  }
  CTmpRecordFile tmp(f.directory, &f.store);

  MetaDataContainer bare;
  bare.AddMetadata("RecordDuration", 8.0);
  tmp.ToMetaDataContainer(bare, 1000);
  EXPECT_EQ(bare.GetMetadataKeys(), std::set<std::string>{"RecordDuration"});
  EXPECT_TRUE(tmp.IsValid());  // the file was read all the same

  MetaDataContainer out;
  zsff::CMetaDataChannelWriter(out).Format("Compact16");
  zsff::CMetaDataChannelWriter(out).SamplingRate(100.0f);
  CTmpRecordFile fresh(f.directory, &f.store);
  fresh.ToMetaDataContainer(out, 1000);
  EXPECT_EQ(fresh.PreviousFileSize(), 1000u);

  const TAG_RECORD_INFO info = SampleInfo();
  EXPECT_EQ(Found<std::u16string>(out, "RecordStartDateString"),
            zsff::FileTimeToString(info.AbsoluteDate));
  EXPECT_EQ(Found<long long>(out, "RecordStartDate"), info.AbsoluteDate);
  EXPECT_EQ(Found<long long>(out, "RecordRelativeDate"), info.RelativeDate);
  // 1000 bytes of 2-byte samples at 100 Hz: 500 samples, 5 seconds.
  EXPECT_EQ(Found<long long>(out, "RecordRelativeDateEnd"), 32768000 + info.RelativeDate);
  EXPECT_EQ(Found<double>(out, "RecordDuration"), 5.0);
  EXPECT_EQ(Found<double>(out, "RecordCumulativeDate"), info.CumulativeDate);
  EXPECT_EQ(Found<long>(out, "RecordNumber"), info.RecordNumber);
  EXPECT_EQ(Found<long>(out, "SignalTimeStep"), info.TimeStep);
  EXPECT_EQ(Found<float>(out, "SignalOffset"), info.SignalOffset);
  EXPECT_EQ(Found<float>(out, "SignalUncompactCoeff"), info.UncompactCoeff);
  EXPECT_EQ(Found<float>(out, "SignalUncompactOffset"), info.UncompactOffset);
  EXPECT_EQ(out.GetMetadataType("SignalOffset"), zsff::MetaDataValue::TypeFloat);

  // The same size again: nothing is read or written, even with a changed file.
  out.AddMetadata("RecordDuration", -1.0);
  TAG_RECORD_INFO moved = info;
  moved.AbsoluteDate = 777;
  {
    CTmpRecordFile writer(f.directory, &f.store);
    writer.SetRecordInfo(moved);
    ASSERT_TRUE(writer.Write());
  }
  fresh.ToMetaDataContainer(out, 1000);
  EXPECT_EQ(Found<double>(out, "RecordDuration"), -1.0);

  // A grown record: the file is read again and the length follows the size, at
  // four bytes a sample for Raw32.
  zsff::CMetaDataChannelWriter(out).Format("Raw32");
  fresh.ToMetaDataContainer(out, 4000);
  EXPECT_EQ(Found<double>(out, "RecordDuration"), 10.0);
  EXPECT_EQ(Found<long long>(out, "RecordStartDate"), 777);

  // And back: the merged container gives the same record information.
  CTmpRecordFile back(f.directory, nullptr);
  back.FromMetaDataContainer(out);
  ExpectSameInfo(back.RecordInfo(), moved);
}
