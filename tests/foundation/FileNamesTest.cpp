// The names of a measurement's files as they lie on disk, and how a listing's
// names are told apart. The id-based names and their parsers are tested with the
// ids.
#include <gtest/gtest.h>

#include <string>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace names = zsff::names;

namespace {

std::string Utf8(const std::u16string& text) { return zsff::WideToUtf8(text); }

TEST(FileNamesTest, NamesAsTheyLieOnDisk) {
  const struct {
    std::string made;
    const char* expected;
  } rows[] = {
      {Utf8(names::MeasurementFileName(u"Record_17")), "Record_17.zsfh"},
      {Utf8(names::MeasurementFilePattern()), "*.zsfh"},
      {names::HeaderFileName("Record_17"), "Record_17.zff"},
      {names::EndedUpHeaderFileName("Record_17"), "Record_17.zxf"},
      {Utf8(names::LockFileName()), "Metadata.lock"},
      {names::RecordBaseName(-5), "Record_-5"},
      {names::RecordName(4000000000LL, 70000), "Record_4000000000_70000"},
      {names::RecordName("", 3), "_3"},  // a tree without base yet
      {Utf8(names::ChannelMetaDataFileName(u"Channel_3")), "Channel_3.zrm"},
      {Utf8(names::ChannelMetaDataFilePattern()), "*.zrm"},
      {names::SignalPartFile("/r/Part_3"), "/r/Part_3.zrs"},
      {Utf8(names::SignalPartFilePattern()), "*.zrs"},
      {names::PyramidLevelFile("/r/Part_3", 4), "/r/Part_3_4.zpr"},
      {names::TmpRecordFileName(), "TmpRecord.zrm"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.made, row.expected);
}

TEST(FileNamesTest, ListingsAreToldApartByName) {
  const struct {
    const char* file;
    names::ChannelFile_t type;
  } files[] = {
      {"Part_0.zrs", names::ChannelFileSignalPart},
      {"Part_0_1.zpr", names::ChannelFilePyramidLevel},
      {"TmpRecord.zrm", names::ChannelFileTmpRecord},
      {"Channel_3.zrm", names::ChannelFileMetaData},
      {"Part_0.zrsx", names::ChannelFileOther},
      {"notes.txt", names::ChannelFileOther},
  };
  for (const auto& row : files) EXPECT_EQ(names::ChannelFileType(row.file), row.type) << row.file;
  EXPECT_EQ(names::ChannelMetaDataName("Channel_3.zrm"), "Channel_3");

  std::string base = "kept";
  EXPECT_FALSE(names::ParseMeasurementFileName("Record_17.zsfhx", base));
  EXPECT_EQ(base, "kept");
  EXPECT_TRUE(names::ParseMeasurementFileName("Record_17.zsfh", base));
  EXPECT_EQ(base, "Record_17");

  // A record directory holds "Record_" anywhere in its name; a channel directory
  // starts with "Channel_".
  EXPECT_TRUE(names::IsRecordDirectoryName(u"Record_1_2"));
  EXPECT_TRUE(names::IsRecordDirectoryName(u"old Record_abc"));
  EXPECT_FALSE(names::IsRecordDirectoryName(u"record_1_2"));
  EXPECT_TRUE(names::IsChannelDirectoryName(u"Channel_1_0_7"));
  EXPECT_FALSE(names::IsChannelDirectoryName(u"old Channel_1_0_7"));
}

}  // namespace
