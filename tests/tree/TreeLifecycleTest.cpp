// Making, opening and probing measurement directories, locally and on a remote
// store, and the process-wide error text that their refusals leave.
#include <sys/wait.h>
#include <unistd.h>
#include <zsff/RecordSignalTree.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "foundation/TextConversion.h"
#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

class TreeLifecycle : public TreeTest {};

TEST_F(TreeLifecycle, CreateTakesOnlyAMissingOrEmptyDirectory) {
  auto fresh = Tree::CreateSignalTree(m_Dir.Wide(), u"fresh", kNoStore, false);
  ASSERT_TRUE(fresh);
  EXPECT_TRUE(fs::is_directory(m_Dir.Path() / "fresh"));
  EXPECT_EQ(fresh->FullRecordPath(), m_Dir.Wide("fresh"));
  EXPECT_EQ(fresh->MeasureName(), u"fresh");
  EXPECT_EQ(fresh->OpenMode(), Tree::TreeOpenCreate);
  EXPECT_EQ(fresh->RecordCounter(), 0);

  fs::create_directory(m_Dir.Path() / "empty");
  EXPECT_TRUE(Tree::CreateSignalTree(m_Dir.Wide(), u"empty", kNoStore, false));

  fs::create_directory(m_Dir.Path() / "withFile");
  std::ofstream(m_Dir.Path() / "withFile" / "note.txt") << "x";
  EXPECT_FALSE(Tree::CreateSignalTree(m_Dir.Wide(), u"withFile", kNoStore, false));
  EXPECT_EQ(
      Tree::LastErrorString(),
      u"CRecordSignalTree::CreateSignalTree directory already exists: " + m_Dir.Wide("withFile"));
  EXPECT_EQ(Tree::LastErrorString(), u"");

  fs::create_directories(m_Dir.Path() / "withDirectory" / "inner");
  EXPECT_FALSE(Tree::CreateSignalTree(m_Dir.Wide(), u"withDirectory", kNoStore, false));
  EXPECT_NE(Tree::LastErrorString(), u"");

  // The name reaches the disk as given: a character beyond 16 bits is one 4-byte
  // sequence there, and a lone surrogate half, which has no such form, is refused.
  EXPECT_TRUE(Tree::CreateSignalTree(m_Dir.Wide(), u"x\U0001F697y", kNoStore, false));
  EXPECT_TRUE(fs::is_directory(m_Dir.Path() / "x\xF0\x9F\x9A\x97y"));
  const std::u16string lone = u"x" + std::u16string(1, u'\xD83D');
  EXPECT_FALSE(Tree::CreateSignalTree(m_Dir.Wide(), lone, kNoStore, false));
  EXPECT_EQ(
      Tree::LastErrorString(),
      u"CRecordSignalTree::CreateSignalTree path has no UTF-8 form: " + m_Dir.Wide() + u"/" + lone);

  // The parent isn't made: the tree stands, and its first save will find no directory.
  auto orphan = Tree::CreateSignalTree(m_Dir.Wide("missing"), u"m", kNoStore, false);
  ASSERT_TRUE(orphan);
  EXPECT_FALSE(fs::exists(m_Dir.Path() / "missing"));
}

// A pipe whose readers wait until every writer has closed it: a gate that
// opens for all of them at once.
struct Gate {
  int Ends[2];
  Gate() { EXPECT_EQ(pipe(Ends), 0); }
  ~Gate() { Close(); }
  void Close() {
    for (int& end : Ends) {
      if (end >= 0) close(end);
      end = -1;
    }
  }
  void Open() {  // by the one who holds it shut
    close(Ends[1]);
    Ends[1] = -1;
  }
  void Wait() {  // by a forked waiter, which holds a copy of the writing end too
    Open();
    char byte;
    while (read(Ends[0], &byte, 1) < 0 && errno == EINTR) {
    }
  }
};

TEST_F(TreeLifecycle, OfCreatorsMeetingInOneDirectoryOneWinsAndTheOthersAreRefused) {
  // Processes let go at once, as two recorders started together are. Whoever
  // gets a tree writes its metadata only once all have tried, as a host that
  // sets up its channels first might: no creator may find the directory
  // written. A winner writes its own name; a loser sends its error.
  constexpr int kCreators = 6;
  constexpr unsigned int kBase = 1234;
  Gate start, save;
  int tried[2], errors[2];
  ASSERT_EQ(pipe(tried), 0);
  ASSERT_EQ(pipe(errors), 0);
  std::vector<pid_t> creators;
  for (int i = 0; i < kCreators; ++i) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child > 0) {
      creators.push_back(child);
      continue;
    }
    start.Wait();
    auto tree = Tree::CreateSignalTree(m_Dir.Wide(), u"shared", kNoStore, false);
    const std::string line = tree ? "" : zsff::WideToUtf8(Tree::LastErrorString()) + "\n";
    if (write(errors[1], line.data(), line.size()) != static_cast<ssize_t>(line.size()) ||
        write(tried[1], "x", 1) != 1)
      _exit(2);
    if (!tree) _exit(1);
    save.Wait();
    MetaDataContainer metaData;
    CMetaDataMeasurementWriter(metaData).MeasurementName(W("creator " + std::to_string(i)));
    auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockWait);
    const bool saved = tree->SetRecordBase(kBase) && lock &&
                       tree->SaveMetaDataMeasurement(lock.get(), metaData, false);
    lock.reset();
    _exit(saved ? 0 : 3);
  }
  close(tried[1]);
  close(errors[1]);
  start.Open();
  char byte;
  for (int i = 0; i < kCreators && read(tried[0], &byte, 1) == 1; ++i) {
  }
  save.Open();
  int winners = 0;
  for (const pid_t creator : creators) {
    int status = -1;
    ASSERT_EQ(waitpid(creator, &status, 0), creator);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_TRUE(WEXITSTATUS(status) <= 1) << WEXITSTATUS(status);
    if (WEXITSTATUS(status) == 0) ++winners;
  }
  EXPECT_EQ(winners, 1);

  std::string text;
  char buffer[4096];
  for (ssize_t got; (got = read(errors[0], buffer, sizeof buffer)) > 0;) text.append(buffer, got);
  close(errors[0]);
  close(tried[0]);
  const std::string refusal =
      "CRecordSignalTree::CreateSignalTree directory is being created by another tree: " +
      (m_Dir.Path() / "shared").string() + "\n";
  std::string refusals;
  for (int i = 1; i < kCreators; ++i) refusals += refusal;
  EXPECT_EQ(text, refusals);

  // Only the winner's measurement file, whole.
  EXPECT_EQ(
      std::distance(fs::directory_iterator(m_Dir.Path() / "shared"), fs::directory_iterator()), 1);
  std::u16string name;
  EXPECT_TRUE(MetaDataMeasurementReader(LoadMeasurement(m_Dir.Path() / "shared", kBase))
                  .MeasurementName(name));
  EXPECT_EQ(name.rfind(u"creator ", 0), 0u);
}

TEST_F(TreeLifecycle, CreateWithoutNameUsesAFreshBaseName) {
  const std::u16string before = CRecordId::NewRecordBaseName();
  auto tree = Tree::CreateSignalTree(m_Dir.Wide(), u"", kNoStore, false);
  const std::u16string after = CRecordId::NewRecordBaseName();
  ASSERT_TRUE(tree);
  EXPECT_TRUE(tree->MeasureName() == before || tree->MeasureName() == after);
  EXPECT_TRUE(fs::is_directory(m_Dir.Path() / N(tree->MeasureName())));
}

TEST_F(TreeLifecycle, OpenNeedsAnExistingDirectoryAndMakesNone) {
  EXPECT_FALSE(Tree::OpenSignalTree(m_Dir.Wide(), u"absent", Tree::TreeOpenRead, kNoStore, false,
                                    u"", false));
  EXPECT_EQ(Tree::LastErrorString(),
            u"CRecordSignalTree::OpenSignalTree directory does not exist on local disk: " +
                m_Dir.Wide("absent"));
  EXPECT_FALSE(fs::exists(m_Dir.Path() / "absent"));

  // Whatever the directory holds, it opens, and the mode is the caller's.
  fs::create_directory(m_Dir.Path() / "present");
  auto tree = Tree::OpenSignalTree(m_Dir.Wide(), u"present", Tree::TreeOpenEdit, kNoStore, false,
                                   u"", true);
  ASSERT_TRUE(tree);
  EXPECT_EQ(tree->OpenMode(), Tree::TreeOpenEdit);
  EXPECT_EQ(Tree::LastErrorString(), u"");

  std::unique_ptr<Tree> none;
  Tree::CloseSignalTree(none);
  EXPECT_FALSE(none);
  Tree::CloseSignalTree(tree);
  EXPECT_FALSE(tree);
}

TEST_F(TreeLifecycle, OpenFallsBackOnTheRemoteStore) {
  auto store = std::make_shared<RootedStore>(m_Dir.Path() / "store");
  fs::create_directories(m_Dir.Path() / "store" / "disk" / "Record_4242");

  // Neither here nor there: the message names the path on the store.
  EXPECT_FALSE(
      Tree::OpenSignalTree(u"disk", u"Record_99", Tree::TreeOpenRead, store, true, u"", false));
  EXPECT_EQ(Tree::LastErrorString(),
            u"CRecordSignalTree::OpenSignalTree directory does not exist on remote disk: "
            u"disk/Record_99");
  ASSERT_FALSE(store->Selected.empty());
  EXPECT_EQ(store->Selected.back(), 32767);

  // A parent without a local separator is a place on the store; the read-only
  // tree makes nothing locally.
  auto tree =
      Tree::OpenSignalTree(u"disk", u"Record_4242", Tree::TreeOpenRead, store, true, u"", false);
  ASSERT_TRUE(tree);
  EXPECT_EQ(RecordSignalTreeProbe::RemotePath(*tree), u"disk/Record_4242");
  EXPECT_FALSE(fs::exists("disk"));
}

TEST_F(TreeLifecycle, ConstructorAimsAtTheRemoteDirectory) {
  auto store = std::make_shared<RootedStore>(m_Dir.Path() / "store");
  fs::create_directories(m_Dir.Path() / "store" / "Record_31");
  fs::create_directories(m_Dir.Path() / "local" / "Record_31");

  // A local parent path means nothing on the store: the remote directory is
  // learnt later.
  auto mirrored = Tree::OpenSignalTree(m_Dir.Wide("local"), u"Record_31", Tree::TreeOpenEdit, store,
                                       true, u"", false);
  ASSERT_TRUE(mirrored);
  EXPECT_EQ(RecordSignalTreeProbe::RemotePath(*mirrored), u"");

  // A single record name aims straight at it and gives the base, with a mirror or
  // read-only without one.
  auto single = Tree::OpenSignalTree(m_Dir.Wide("local"), u"Record_31", Tree::TreeOpenRead, store,
                                     false, u"Record_31", false);
  ASSERT_TRUE(single);
  EXPECT_EQ(RecordSignalTreeProbe::RemotePath(*single), u"Record_31");
  EXPECT_EQ(single->RecordBase().RecordBase(), 31u);
  auto writable = Tree::OpenSignalTree(m_Dir.Wide("local"), u"Record_31", Tree::TreeOpenEdit, store,
                                       false, u"Record_31", false);
  ASSERT_TRUE(writable);
  EXPECT_EQ(RecordSignalTreeProbe::RemotePath(*writable), u"");
  EXPECT_EQ(writable->RecordBase().RecordBase(), 0u);

  // Without a store nothing is aimed at.
  auto local = Tree::OpenSignalTree(m_Dir.Wide("local"), u"Record_31", Tree::TreeOpenEdit, kNoStore,
                                    true, u"Record_31", false);
  ASSERT_TRUE(local);
  EXPECT_EQ(RecordSignalTreeProbe::RemotePath(*local), u"");
}

TEST_F(TreeLifecycle, DirectoryInfoTellsWhatIsThereAndLeavesNoError) {
  fs::create_directories(m_Dir.Path() / "bare");
  // An error from before the probe goes too.
  EXPECT_FALSE(Tree::OpenSignalTree(m_Dir.Wide(), u"absent", Tree::TreeOpenRead, kNoStore, false,
                                    u"", false));
  Tree::SignalDirectoryInfo info =
      Tree::GetSignalDirectoryInfo(m_Dir.Wide(), u"bare", kNoStore, false);
  EXPECT_FALSE(info.Valid);
  EXPECT_FALSE(info.HasLocalRecords);
  EXPECT_FALSE(info.HasRemoteRecords);
  EXPECT_EQ(Tree::LastErrorString(), u"");

  info = Tree::GetSignalDirectoryInfo(m_Dir.Wide(), u"absent", kNoStore, false);
  EXPECT_FALSE(info.Valid);
  EXPECT_EQ(Tree::LastErrorString(), u"");

  // Metadata without record directories is a valid, empty measurement.
  const fs::path measurement = m_Dir.Path() / "Record_77";
  fs::create_directories(measurement);
  MetaDataContainer metaData = Measurement();
  metaData.AddRecord(CRecordId(77, 1).RecordId(), 0, 0, 5.0, false, 0.0, 0);
  SaveMeasurement(measurement, 77, metaData);
  info = Tree::GetSignalDirectoryInfo(m_Dir.Wide(), u"Record_77", kNoStore, false);
  EXPECT_TRUE(info.Valid);
  EXPECT_FALSE(info.HasLocalRecords);

  fs::create_directories(measurement / "Record_77_1");
  info = Tree::GetSignalDirectoryInfo(m_Dir.Wide(), u"Record_77", kNoStore, false);
  EXPECT_TRUE(info.Valid);
  EXPECT_TRUE(info.HasLocalRecords);
  EXPECT_FALSE(info.HasRemoteRecords);
  EXPECT_EQ(Tree::LastErrorString(), u"");
}

TEST_F(TreeLifecycle, DirectoryInfoLooksOnTheStore) {
  auto store = std::make_shared<RootedStore>(m_Dir.Path() / "store");
  const fs::path remote = m_Dir.Path() / "store" / "Record_88";
  fs::create_directories(remote / "Record_88_1");
  fs::create_directories(remote / "Record_88_2");
  MetaDataContainer metaData = Measurement();
  metaData.AddRecord(CRecordId(88, 1).RecordId(), 0, 0, 5.0, false, 0.0, 0);
  metaData.AddRecord(CRecordId(88, 2).RecordId(), 0, 0, 5.0, false, 0.0, 0);
  SaveMeasurement(remote, 88, metaData);

  Tree::SignalDirectoryInfo info = Tree::GetSignalDirectoryInfo(u"", u"Record_88", store, true);
  EXPECT_TRUE(info.Valid);
  EXPECT_TRUE(info.HasRemoteRecords);
  EXPECT_FALSE(info.HasLocalRecords);
  EXPECT_EQ(Tree::LastErrorString(), u"");

  // There is no local directory of that name: the local look changes nothing.
  info = Tree::GetSignalDirectoryInfo(u"", u"Record_88", store, false);
  EXPECT_TRUE(info.Valid);
  EXPECT_TRUE(info.HasRemoteRecords);
  EXPECT_FALSE(info.HasLocalRecords);
  EXPECT_EQ(Tree::LastErrorString(), u"");
}

}  // namespace
