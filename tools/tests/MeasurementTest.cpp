// Gathering a measurement for "zsff info" from files laid out by hand: the
// record list of the measurement file beside what the directories hold.
#include <gtest/gtest.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataFileWriter.h>
#include <zsff/RecordId.h>

#include <fstream>

#include "Measurement.h"
#include "TempDir.h"
#include "foundation/TextConversion.h"

namespace zsff_tools {
namespace {

namespace fs = std::filesystem;

void WriteBytes(const fs::path& path, std::size_t size) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << std::string(size, 'x');
}

void SaveContainer(const zsff::MetaDataContainer& metaData, const fs::path& path) {
  fs::create_directories(path.parent_path());
  zsff::CMetaDataFileWriter writer;
  ASSERT_TRUE(writer.Save(metaData, zsff::Utf8ToWide(path.filename().string()),
                          zsff::Utf8ToWide(path.parent_path().string())));
}

void SaveChannel(const fs::path& directory, unsigned short number, const char16_t* name,
                 double duration) {
  zsff::MetaDataContainer metaData;
  zsff::CMetaDataChannelWriter writer(metaData);
  writer.Name(name);
  writer.Format("Compact16");
  writer.Type("Dynamic");
  writer.Unit(u"m/s²");
  writer.SamplingRate(51200.0f);
  writer.RecordLength(duration);
  SaveContainer(metaData, directory / ("Channel_" + std::to_string(number) + ".zrm"));
}

TEST(Measurement, RefusesWhatIsNoMeasurement) {
  zsff_test::TempDir dir;
  MeasurementSummary m;
  std::string error;
  EXPECT_FALSE(LoadMeasurement((dir.Path() / "missing").string(), m, error));
  EXPECT_NE(error.find("No such file or directory"), std::string::npos);

  EXPECT_FALSE(LoadMeasurement(dir.Path().string(), m, error));
  EXPECT_NE(error.find("no measurement file"), std::string::npos);

  SaveContainer(zsff::MetaDataContainer(), dir.Path() / "Record_1.zsfh");
  SaveContainer(zsff::MetaDataContainer(), dir.Path() / "Record_2.zsfh");
  EXPECT_FALSE(LoadMeasurement(dir.Path().string(), m, error));
  EXPECT_NE(error.find("more than one"), std::string::npos);

  fs::remove(dir.Path() / "Record_2.zsfh");
  WriteBytes(dir.Path() / "Record_1.zsfh", 0);  // empty: doesn't read as JSON
  EXPECT_FALSE(LoadMeasurement(dir.Path().string(), m, error));
  EXPECT_NE(error.find("Record_1.zsfh doesn't load"), std::string::npos);
}

TEST(Measurement, ListsTheRecordsOfTheFileAndOfTheDisk) {
  zsff_test::TempDir dir;
  const fs::path root = dir.Path();
  const unsigned int base = 1700000000u;
  const std::string baseName = "Record_" + std::to_string(base);

  zsff::MetaDataContainer metaData;
  zsff::CMetaDataMeasurementWriter writer(metaData);
  writer.MeasurementName(u"bench");
  zsff::CRecordId first(base, 1);
  zsff::CRecordId second(base, 2);
  second.SetPartNumber(3);  // a ring that dropped its first three parts
  ASSERT_TRUE(writer.AddRecord(first.RecordId(), 1, 133000000000000000LL, 70.0, false, 64.0, 0));
  ASSERT_TRUE(writer.AddRecord(second.RecordId(), 5, 0, 12.0, true, 4.0, 0));
  SaveContainer(metaData, root / (baseName + ".zsfh"));
  WriteBytes(root / (baseName + ".zff"), 10);

  // Record 1: channels 10 and 2 (listed by number), and one without metadata.
  const fs::path record1 = root / (baseName + "_1");
  SaveChannel(record1 / "Channel_10_1_4711", 10, u"ten", 70.0);
  SaveChannel(record1 / "Channel_2_1_4711", 2, u"two", 70.0);
  WriteBytes(record1 / "Channel_2_1_4711" / "Part_0.zrs", 1000);
  WriteBytes(record1 / "Channel_2_1_4711" / "Part_1.zrs", 500);
  WriteBytes(record1 / "Channel_2_1_4711" / "Part_0_1.zpr", 30);
  fs::create_directories(record1 / "Channel_3_1_4711");
  fs::create_directories(record1 / "NotAChannel");
  // Record 3 lies on disk but the file doesn't know it; record 2 has no directory.
  fs::create_directories(root / (baseName + "_3"));

  MeasurementSummary m;
  std::string error;
  ASSERT_TRUE(LoadMeasurement(root.string() + "/", m, error)) << error;
  EXPECT_EQ(m.Path, root.string());
  EXPECT_EQ(m.BaseName, baseName);
  EXPECT_TRUE(m.Unfinished);
  EXPECT_FALSE(m.EndedUp);
  std::u16string name;
  EXPECT_TRUE(m.MetaData.FindMetadata("MeasurementName", name));

  ASSERT_EQ(m.Records.size(), 3u);
  const RecordSummary& r1 = m.Records[0];
  EXPECT_EQ(r1.Directory, baseName + "_1");
  EXPECT_TRUE(r1.InMetaData && r1.OnDisk);
  EXPECT_EQ(r1.Duration, 70.0);
  EXPECT_EQ(r1.LastPart, 1);
  ASSERT_EQ(r1.Channels.size(), 3u);
  EXPECT_EQ(r1.Channels[0].Directory, "Channel_2_1_4711");
  EXPECT_EQ(r1.Channels[1].Directory, "Channel_3_1_4711");
  EXPECT_EQ(r1.Channels[2].Directory, "Channel_10_1_4711");

  const ChannelSummary& two = r1.Channels[0];
  EXPECT_TRUE(two.MetaDataLoaded);
  EXPECT_EQ(two.Name, "two");
  EXPECT_EQ(two.Format, "Compact16");
  EXPECT_EQ(two.Unit, "m/s²");
  EXPECT_EQ(two.SamplingRate, 51200.0);
  EXPECT_EQ(two.Duration, 70.0);
  EXPECT_EQ(two.Id.ChannelNumber(), 2);
  EXPECT_EQ(two.Id.DeviceSerialNumber(), 4711u);
  EXPECT_EQ(two.PartFiles, 2);
  EXPECT_EQ(two.FirstPart, 0);
  EXPECT_EQ(two.LastPart, 1);
  EXPECT_EQ(two.SignalBytes, 1500u);
  EXPECT_EQ(two.PyramidBytes, 30u);
  EXPECT_GT(two.TotalBytes, 1530u);  // and its metadata file
  EXPECT_FALSE(two.Recording);

  EXPECT_FALSE(r1.Channels[1].MetaDataLoaded);
  EXPECT_EQ(r1.Channels[1].Error, "no channel metadata file (.zrm)");

  const RecordSummary& r2 = m.Records[1];
  EXPECT_EQ(r2.Directory, baseName + "_2");  // the part number isn't in the directory's name
  EXPECT_EQ(r2.Id.PartNumber(), 3);
  EXPECT_TRUE(r2.Recording);
  EXPECT_FALSE(r2.OnDisk);

  const RecordSummary& r3 = m.Records[2];
  EXPECT_FALSE(r3.InMetaData);
  EXPECT_TRUE(r3.OnDisk);
  EXPECT_EQ(r3.Id.RecordNumber(), 3);

  EXPECT_EQ(m.TotalBytes, fs::file_size(root / (baseName + ".zsfh")) + 10 + r1.TotalBytes);
}

}  // namespace
}  // namespace zsff_tools
