// Editing a finished measurement: the editing mark across trees and processes,
// what a leftover lock file or a killed editor leaves, and renaming.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <filesystem>
#include <fstream>

#include "support/ChildProcess.h"
#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

constexpr unsigned int kBase = 4242;
const std::u16string kElsewhere = u"the measurement is being edited elsewhere";

bool MarkInFile(const fs::path& directory) {
  bool editing = false;
  MetaDataMeasurementReader(LoadMeasurement(directory, kBase)).Editing(editing);
  return editing;
}

// A marker of the given sequence word joins those of the markers file.
bool AddMarkerToFile(Tree& tree, unsigned short sequence) {
  MetaDataContainer markers;
  return tree.ReadMarkers(markers) &&
         markers.AddMarker(CMarkerId(sequence, 1), 1.0, 1.0, u"", u"added") &&
         tree.WriteMarkers(markers);
}

class Editing : public TreeTest {
 protected:
  // A finished measurement "m" as a host leaves it: its file names it.
  void SetUp() override {
    TreeTest::SetUp();
    fs::create_directories(Dir());
    MetaDataContainer metaData = Measurement();
    CMetaDataMeasurementWriter(metaData).MeasurementName(u"m");
    SaveMeasurement(Dir(), kBase, metaData);
  }
  fs::path Dir(const std::string& name = "m") const { return m_Dir.Path() / name; }
  std::unique_ptr<Tree> Open(const std::string& name = "m") {
    return Tree::OpenSignalTree(m_Dir.Wide(), W(name), Tree::TreeOpenEdit, kNoStore, false, u"",
                                false);
  }
};

TEST_F(Editing, OneTreeAtATimeWithTheMarkInTheFile) {
  auto first = Open();
  auto second = Open();
  ASSERT_TRUE(first && second);
  EXPECT_TRUE(first->StartEditing());
  EXPECT_TRUE(first->IsEditing());
  EXPECT_TRUE(MarkInFile(Dir()));

  // The loser is told by IsEditing and by the error text, not by the result.
  EXPECT_TRUE(second->StartEditing());
  EXPECT_FALSE(second->IsEditing());
  EXPECT_NE(Tree::LastErrorString().find(kElsewhere), std::u16string::npos);
  EXPECT_TRUE(first->StartEditing());

  // Closing the editor gives the mark back.
  Tree::CloseSignalTree(first);
  EXPECT_FALSE(MarkInFile(Dir()));
  EXPECT_TRUE(second->StartEditing());
  EXPECT_TRUE(second->IsEditing());
  EXPECT_TRUE(second->StopEditing());
  EXPECT_FALSE(second->IsEditing());
  EXPECT_FALSE(MarkInFile(Dir()));
}

TEST_F(Editing, LeftoverLockFileBlocksWithItsName) {
  std::ofstream(Dir() / "Metadata.lock") << "held";
  auto tree = Open();
  EXPECT_FALSE(tree->StartEditing());
  EXPECT_FALSE(tree->IsEditing());
  EXPECT_EQ(Tree::LastErrorString(), u"CRecordSignalTree::StartEditing() cannot create MetaDataLock: " +
                                         W((Dir() / "Metadata.lock").string()));
  EXPECT_FALSE(tree->Rename(u"n"));
  EXPECT_TRUE(fs::exists(Dir() / "Metadata.lock"));
  EXPECT_FALSE(fs::exists(Dir("n")));
}

// Two processes ask for the mark at once: one wins, and the marker the winner
// adds joins those already there. Then an editor killed while editing leaves the
// mark, which the next opening reports and StopEditing clears.
TEST_F(Editing, TwoProcessesOneWinsAndAKilledOneLeavesTheMark) {
  {
    auto tree = Open();
    MetaDataContainer markers;
    ASSERT_TRUE(markers.AddMarker(CMarkerId(1, 1), 0.5, 0.5, u"", u"earlier"));
    ASSERT_TRUE(tree->WriteMarkers(markers));
  }
  Signal go, won, done;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    go.KeepReceivingEnd();
    won.KeepSendingEnd();
    done.KeepReceivingEnd();
    auto tree = Open();
    if (!tree || !go.Receive() || !tree->StartEditing()) _exit(1);
    const bool editing = tree->IsEditing();
    won.Send(editing ? 'y' : 'n');
    if (!done.Receive()) _exit(2);
    if (editing) {
      if (!AddMarkerToFile(*tree, 2)) _exit(3);
    }
    _exit(0);  // the mark stays when the child wins: it never closes its tree
  }
  go.KeepSendingEnd();
  won.KeepReceivingEnd();
  done.KeepSendingEnd();
  Reaper reaper{child};
  auto tree = Open();
  ASSERT_TRUE(go.Send());
  ASSERT_TRUE(tree->StartEditing());
  char childWon = 0;
  ASSERT_TRUE(won.Receive(childWon));
  EXPECT_NE(tree->IsEditing(), childWon == 'y');
  if (tree->IsEditing()) {
    EXPECT_TRUE(AddMarkerToFile(*tree, 3));
  } else {
    Tree::LastErrorString();
  }
  ASSERT_TRUE(done.Send());
  EXPECT_EQ(reaper.Wait(), 0);
  MetaDataContainer markers;
  ASSERT_TRUE(tree->ReadMarkers(markers));
  EXPECT_EQ(markers.GetMarkersKeys().size(), 2u);
  Tree::CloseSignalTree(tree);

  // Whoever won, the mark now stays only if the child held it: a process that
  // ends without closing its tree leaves it, as a killed one does.
  EXPECT_EQ(MarkInFile(Dir()), childWon == 'y');
  if (childWon != 'y') {
    Signal holding;
    const pid_t editor = fork();
    ASSERT_GE(editor, 0);
    if (editor == 0) {
      holding.KeepSendingEnd();
      auto held = Open();
      if (held && held->StartEditing() && held->IsEditing()) holding.Send();
      pause();
      _exit(0);
    }
    holding.KeepReceivingEnd();
    Reaper killed{editor};
    ASSERT_TRUE(holding.Receive());
    kill(editor, SIGKILL);
    killed.Wait();
  }
  EXPECT_TRUE(MarkInFile(Dir()));
  auto next = Open();
  EXPECT_TRUE(next->StartEditing());
  EXPECT_FALSE(next->IsEditing());
  EXPECT_NE(Tree::LastErrorString().find(kElsewhere), std::u16string::npos);
  EXPECT_TRUE(next->StopEditing());
  EXPECT_FALSE(MarkInFile(Dir()));
  EXPECT_TRUE(next->StartEditing());
  EXPECT_TRUE(next->IsEditing());
}

TEST_F(Editing, RenameMovesTheDirectoryAndCompletingRemovesTheHeader) {
  std::ofstream(Dir() / ("Record_" + std::to_string(kBase) + ".zff")) << "header";
  auto tree = Open();
  ASSERT_TRUE(tree->StartEditing());
  ASSERT_TRUE(tree->Rename(u"n"));
  EXPECT_FALSE(fs::exists(Dir()));
  EXPECT_EQ(tree->FullRecordPath(), W(Dir("n").string()));
  EXPECT_EQ(tree->MeasureName(), u"n");

  const std::vector<CPropertyValue> properties = {CPropertyValue("Operator", u"Who", u"Ann", CPropertyValue::PropertyText)};
  ASSERT_TRUE(tree->RenameAndComplete(u"o", u"done", properties));
  Tree::CloseSignalTree(tree);
  // Nothing left behind: no lock file, no header, no mark.
  EXPECT_EQ(std::distance(fs::directory_iterator(Dir("o")), fs::directory_iterator()), 1);
  const MetaDataContainer metaData = LoadMeasurement(Dir("o"), kBase);
  std::u16string name, comment;
  MetaDataMeasurementReader(metaData).MeasurementName(name);
  MetaDataMeasurementReader(metaData).Comment(comment);
  EXPECT_EQ(name, u"o");
  EXPECT_EQ(comment, u"done");
  EXPECT_EQ(metaData.GetMeasPropertiesKeys().count("Operator"), 1u);
  EXPECT_FALSE(MarkInFile(Dir("o")));
}

TEST_F(Editing, RenameRefusals) {
  // A record of the measurement open in the process: nothing moves.
  auto tree = Open();
  ASSERT_TRUE(tree->SetRecordBase(kBase));
  ASSERT_NE(tree->CreateRecord(0), 0);
  EXPECT_FALSE(tree->Rename(u"n"));
  EXPECT_EQ(Tree::LastErrorString(), u"CRecordSignalTree::Rename(n) : record in use");
  EXPECT_FALSE(tree->RenameAndComplete(u"n", u"", {}));
  EXPECT_EQ(Tree::LastErrorString(), u"CRecordSignalTree::RenameAndComplete(n) : record in use");
  EXPECT_TRUE(fs::exists(Dir()) && !fs::exists(Dir("n")));
  tree->CloseAllRecord();
  Tree::CloseSignalTree(tree);

  // A measurement file that doesn't load: moved, but a failure.
  fs::create_directories(Dir("broken"));
  std::ofstream(Dir("broken") / ("Record_" + std::to_string(kBase) + ".zsfh")) << "{";
  auto broken = Open("broken");
  EXPECT_FALSE(broken->Rename(u"b"));
  Tree::LastErrorString();
  // A directory without metadata renames fine.
  fs::create_directories(Dir("bare"));
  auto bare = Open("bare");
  EXPECT_TRUE(bare->Rename(u"c"));
  Tree::LastErrorString();
  EXPECT_TRUE(fs::exists(Dir("c")));
}

}  // namespace
