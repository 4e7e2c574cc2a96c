// What a section tells about its record directory (channels, names, analyzers),
// channel look-ups, metadata through the section, and a new record that starts
// with the channels of another.
#include <gtest/gtest.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordSection.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "section/RecordSectionProbe.h"

namespace fs = std::filesystem;
using namespace zsff;
using zsff_test::ChannelMetaData;
using zsff_test::FakeTree;
using zsff_test::RecordSectionProbe;
using zsff_test::TempDir;

namespace {

const CChannelID kA(1, 0, 500);
const CChannelID kB(2, 0, 500);
const CChannelID kC(1, 3, 600);

MetaDataContainer Described(const std::u16string& name, const std::u16string& deviceSerial,
                            const std::u16string& diskSerial) {
  MetaDataContainer metaData = ChannelMetaData(1000.0f, name);
  metaData.AddMetadata("DeviceSN", deviceSerial);
  if (!diskSerial.empty()) metaData.AddMetadata("DeviceDiskSN", diskSerial);
  metaData.AddMetadata("DeviceDiskName", u"disk");
  return metaData;
}

// A record with three channels on two analyzers; the channel on analyzer 3 has no
// disk serial in its metadata.
struct Fixture {
  TempDir dir;
  std::shared_ptr<CLocalFileAccess> store = std::make_shared<CLocalFileAccess>();
  FakeTree tree{store, dir.Wide()};
  std::unique_ptr<CRecordSection> section;

  Fixture() {
    auto maker = RecordSectionProbe::Open(nullptr, dir.Wide(), CRecordId(1000, 1),
                                          CAbstractRecordSection::OpenCreate, store.get());
    EXPECT_TRUE(maker->AddChannel(kB, Described(u"beta", u"SN500", u"D1")));
    EXPECT_TRUE(maker->AddChannel(kA, Described(u"alpha", u"SN500", u"D1")));
    EXPECT_TRUE(maker->AddChannel(kC, Described(u"gamma", u"SN600", u"")));
    maker.reset();
    section = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), CRecordId(1000, 1),
                                       CAbstractRecordSection::OpenRead, store.get());
  }
};

TEST(RecordSectionListing, ChannelsNamesAndAnalyzersOfTheDirectory) {
  Fixture f;
  std::vector<CChannelID> ids;
  ASSERT_TRUE(f.section->ListChannelsID(ids));
  EXPECT_EQ(ids, (std::vector<CChannelID>{kA, kC, kB}));
  EXPECT_EQ(ids[1].DeviceSerialNumber(), 600u);

  // A channel the tree couldn't remove yet is no longer listed.
  f.tree.measurement.AddMetadata("ChannelsToRemove", std::vector<unsigned long long>{kC.Id()});
  ASSERT_TRUE(f.section->ListChannelsID(ids));
  EXPECT_EQ(ids, (std::vector<CChannelID>{kA, kB}));

  std::vector<std::u16string> names{u"stale"};
  ASSERT_TRUE(f.section->ListChannelsName(names));
  EXPECT_EQ(names, (std::vector<std::u16string>{u"alpha", u"gamma", u"beta"}));

  std::map<unsigned short, CAnalyzerInfo> analyzers;
  ASSERT_TRUE(f.section->ListAnalyzerInfo(analyzers));
  // Analyzer 3 tells no disk serial and is left out.
  ASSERT_EQ(analyzers.size(), 1u);
  const CAnalyzerInfo& first = analyzers.at(0);
  EXPECT_EQ(first.DeviceSN(), u"SN500");
  EXPECT_EQ(first.DiskSN(), u"D1");
  EXPECT_EQ(first.DiskName(), u"disk");
  EXPECT_EQ(first.ChannelList(), (std::set<unsigned short>{1, 2}));

  // A channel directory whose metadata is gone is skipped with a word.
  fs::remove(f.dir.Path() / "Record_1000_1" / "Channel_2_0_500" / "Channel_2.zrm");
  auto reopened = RecordSectionProbe::Open(nullptr, f.dir.Wide(), CRecordId(1000, 1),
                                           CAbstractRecordSection::OpenInfo, f.store.get());
  EXPECT_EQ(reopened->ChannelCount(), 0u);
  ASSERT_TRUE(reopened->ListChannelsName(names));
  EXPECT_EQ(names, (std::vector<std::u16string>{u"alpha", u"gamma"}));
  EXPECT_EQ(reopened->LastErrorString().rfind(u"CRecordSection::ListChannelsName() Error: ", 0),
            0u);

  // A record without channel directories lists nothing.
  auto empty = RecordSectionProbe::Open(nullptr, f.dir.Wide(), CRecordId(1000, 9),
                                        CAbstractRecordSection::OpenCreate, f.store.get());
  EXPECT_FALSE(empty->ListChannelsID(ids));
  EXPECT_TRUE(ids.empty());
  EXPECT_FALSE(empty->ListChannelsName(names));
  EXPECT_FALSE(empty->ListAnalyzerInfo(analyzers));
}

TEST(RecordSectionListing, ChannelLookUpAndMetaDataThroughTheSection) {
  Fixture f;
  CChannelID found;
  // The serial takes no part in the look-up and comes back as given.
  ASSERT_TRUE(f.section->GetChannelID(2, 0, 12345, found));
  EXPECT_EQ(found, CChannelID(2, 0, 12345));
  EXPECT_TRUE(f.section->IsValidChannel(CChannelID(2, 0, 1)));
  found = CChannelID(7);
  EXPECT_FALSE(f.section->GetChannelID(2, 5, 500, found));
  EXPECT_EQ(found, CChannelID(7));
  EXPECT_EQ(f.section->LastErrorString(),
            u"CRecordSection::GetChannelID channel not found: Channel_2");

  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  EXPECT_FALSE(f.section->ReadChannelMetaData(CChannelID(9, 0, 0), metaData, info, false));
  ASSERT_TRUE(f.section->ReadChannelMetaData(kA, metaData, info, true));
  std::u16string name;
  ASSERT_TRUE(metaData.FindMetadata("Name", name));
  EXPECT_EQ(name, u"alpha");

  metaData.AddMetadata("Name", u"renamed");
  EXPECT_FALSE(f.section->UpdateChannelMetaData(nullptr, CChannelID(9, 0, 0), metaData));
  EXPECT_EQ(f.section->LastErrorString(),
            u"CRecordSection::UpdateChannelMetaData invalid channel ID");
  // Without the lock nothing is written.
  EXPECT_FALSE(f.section->UpdateChannelMetaData(nullptr, kA, metaData));
  MetaDataContainer reread;
  ASSERT_TRUE(f.section->ReadChannelMetaData(kA, reread, info, false));
  ASSERT_TRUE(reread.FindMetadata("Name", name));
  EXPECT_EQ(name, u"alpha");

  MetaDataFileLock lock(u"Metadata.lock", f.dir.Wide(), f.store, MetaDataFileLock::LockTryOnce);
  ASSERT_TRUE(f.section->UpdateChannelMetaData(&lock, kA, metaData));
  ASSERT_TRUE(f.section->ReadChannelMetaData(kA, reread, info, false));
  ASSERT_TRUE(reread.FindMetadata("Name", name));
  EXPECT_EQ(name, u"renamed");
}

TEST(RecordSectionListing, NewRecordStartsWithTheChannelsOfAnother) {
  Fixture f;
  const std::u16string source = RecordSectionProbe::RecordPath(*f.section);
  auto next = RecordSectionProbe::Open(nullptr, f.dir.Wide(), CRecordId(1000, 2),
                                       CAbstractRecordSection::OpenCreate, f.store.get());
  EXPECT_FALSE(RecordSectionProbe::Duplicate(*next, RecordSectionProbe::RecordPath(*next)));
  EXPECT_EQ(next->LastErrorString(),
            u"CRecordSection::DuplicateRecordSection invalid record source");
  EXPECT_FALSE(RecordSectionProbe::Duplicate(*next, f.dir.Wide("Record_1000_7")));
  EXPECT_EQ(next->LastErrorString(),
            u"CRecordSection::DuplicateRecordSection invalid record source");

  ASSERT_TRUE(RecordSectionProbe::Duplicate(*next, source));
  EXPECT_EQ(next->State(), CAbstractRecordSection::SectionConfigured);
  EXPECT_EQ(next->ChannelCount(), 3u);
  std::vector<std::u16string> names;
  ASSERT_TRUE(next->ListChannelsName(names));
  EXPECT_EQ(names, (std::vector<std::u16string>{u"alpha", u"gamma", u"beta"}));
  EXPECT_FALSE(next->DeleteRecord());

  // Only a fresh section takes channels this way.
  EXPECT_FALSE(RecordSectionProbe::Duplicate(*next, source));
  EXPECT_EQ(next->LastErrorString(), u"CRecordSection::DuplicateRecordSection invalid state");

  // A source whose channel metadata doesn't load leaves the section fresh.
  fs::remove(f.dir.Path() / "Record_1000_1" / "Channel_2_0_500" / "Channel_2.zrm");
  auto third = RecordSectionProbe::Open(nullptr, f.dir.Wide(), CRecordId(1000, 3),
                                        CAbstractRecordSection::OpenCreate, f.store.get());
  EXPECT_FALSE(RecordSectionProbe::Duplicate(*third, source));
  EXPECT_EQ(third->LastErrorString().rfind(u"CRecordSection::DuplicateRecordSection() Error: ", 0),
            0u);
  EXPECT_EQ(third->State(), CAbstractRecordSection::SectionCreated);
}

}  // namespace
