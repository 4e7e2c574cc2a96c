// Markers: added while a record is recorded, kept in their own file, and what the
// tree makes of markers that are odd or wrong.
#include <zsff/ChannelMetaData.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>

#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

constexpr unsigned int kBase = 5151;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
const CChannelID kChannel(1, 0, 4711);

class Markers : public TreeTest {
 protected:
  std::unique_ptr<Tree> Open() {
    return Tree::OpenSignalTree(m_Dir.Wide(), u"m", Tree::TreeOpenRead, kNoStore, false, u"", false);
  }
  fs::path MarkersFile() const { return m_Dir.Path() / "m" / ("Record_" + std::to_string(kBase) + ".zmrk"); }
};

TEST_F(Markers, AddedWhileRecordingAndReadBackAfterReopening) {
  auto tree = Tree::CreateSignalTree(m_Dir.Wide(), u"m", kNoStore, false);
  ASSERT_TRUE(tree && tree->SetRecordBase(kBase));
  int handle = tree->CreateRecord(0);
  CAbstractRecordSection& section = tree->wRecord(handle);
  MetaDataContainer channel;
  CMetaDataChannelWriter(channel).SamplingRate(100.0f);
  CMetaDataChannelWriter(channel).Format("SIFloat");
  ASSERT_TRUE(section.AddChannel(kChannel, channel));
  ASSERT_TRUE(section.ArmRecord(0.0, PartLengthShort, true));
  std::map<CChannelID, TAG_RECORD_INFO> infos;
  infos[kChannel].AbsoluteDate = 133000000000000000LL;
  ASSERT_TRUE(section.StartRecord(infos));
  const std::vector<float> samples(200, 1.0f);
  ASSERT_TRUE(section.WriteSampleBlock(kChannel, samples.data(), samples.size(), true));

  struct Case {
    double position, duration;
    const char16_t* name;
    bool added;
  };
  // A negative position is the record's end; one past the end is kept as it is;
  // what isn't a finite number is refused before it reaches the file.
  const Case cases[] = {{0.5, 0.25, u"first", true},  {-1.0, 0.0, u"end", true},
                        {9.0, 0.0, u"", true},         {kNaN, 0.0, u"nan", false},
                        {kInfinity, 0.0, u"inf", false}, {1.0, kInfinity, u"long", false},
                        {-kInfinity, 1.0, u"at end", true}};
  for (const Case& c : cases) {
    double length = -1.0;
    EXPECT_EQ(tree->AddMarker(length, c.duration, c.position, c.name), c.added) << N(c.name);
    EXPECT_EQ(length, 2.0);
  }
  ASSERT_TRUE(section.StopRecord());
  double length = -1.0;
  EXPECT_FALSE(tree->AddMarker(length, 0.0, 1.0, u"after the stop"));
  EXPECT_EQ(length, 0.0);
  ASSERT_TRUE(tree->CloseRecord(handle, false));
  Tree::CloseSignalTree(tree);

  auto reopened = Open();
  MetaDataContainer markers;
  ASSERT_TRUE(reopened->ReadMarkers(markers));
  const std::vector<MetaDataMarker> read = markers.GetMarkers();
  ASSERT_EQ(read.size(), 4u);
  const std::vector<std::pair<double, double>> spans = {{0.5, 0.75}, {2.0, 2.0}, {9.0, 9.0}, {2.0, 3.0}};
  for (std::size_t i = 0; i < read.size(); ++i) {
    // Numbered from 1 in the record being recorded, in the order of their ids.
    EXPECT_EQ(read[i].id(), CMarkerId(static_cast<unsigned short>(i + 1), 1));
    EXPECT_EQ(read[i].relativeDate(), spans[i].first);
    EXPECT_EQ(read[i].relativeDateFromRun(), spans[i].second);
    EXPECT_FALSE(read[i].absoluteDate().empty());
  }
  EXPECT_EQ(read[1].comment(), u"end");
  EXPECT_EQ(read[2].comment(), u"");
}

TEST_F(Markers, WrittenWholeAndReadAsTheFileSays) {
  fs::create_directories(m_Dir.Path() / "m");
  SaveMeasurement(m_Dir.Path() / "m", kBase, Measurement());
  auto tree = Open();
  MetaDataContainer markers;
  ASSERT_TRUE(markers.AddMarker(CMarkerId(1, 1), 1.0, 1.0, u"", u"kept"));
  MetaDataContainer untouched(markers);
  EXPECT_FALSE(tree->ReadMarkers(untouched));  // no file yet
  EXPECT_EQ(untouched.GetMarkers(), markers.GetMarkers());

  // The container refuses a zero id and a second marker of one id.
  EXPECT_FALSE(markers.AddMarker(CMarkerId(0, 0), 1.0, 1.0, u"", u"zero"));
  EXPECT_FALSE(markers.AddMarker(CMarkerId(1, 1), 2.0, 2.0, u"", u"again"));
  ASSERT_TRUE(tree->WriteMarkers(markers));

  // A marker that isn't a finite number leaves the file as it was.
  MetaDataContainer broken(markers);
  ASSERT_TRUE(broken.AddMarker(CMarkerId(2, 1), kNaN, 1.0, u"", u"nan"));
  EXPECT_FALSE(tree->WriteMarkers(broken));
  MetaDataContainer read;
  ASSERT_TRUE(tree->ReadMarkers(read));
  EXPECT_EQ(read.GetMarkers(), markers.GetMarkers());

  // A file written by other hands: a zero id is taken, and of two markers with
  // one id the later wins; they come back in the order of their ids.
  std::ofstream(MarkersFile()) << R"({"Version": 1, "Markers": [
      {"Index": 5, "Record": 2, "RelativeDate": 1.0, "Comment": "five"},
      {"Index": 0, "Record": 0, "RelativeDate": 2.0, "Comment": "zero"},
      {"Index": 5, "Record": 2, "RelativeDate": 3.0, "Comment": "five again"},
      {"Index": 9, "Record": 1, "RelativeDate": 4.0, "Comment": ""}]})";
  MetaDataContainer odd;
  ASSERT_TRUE(tree->ReadMarkers(odd));
  std::vector<std::u16string> comments;
  for (const MetaDataMarker& marker : odd.GetMarkers()) comments.push_back(marker.comment());
  EXPECT_EQ(comments, (std::vector<std::u16string>{u"zero", u"", u"five again"}));
}

}  // namespace
