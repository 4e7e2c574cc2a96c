// The SFTP store against a real OpenSSH server started for each test: the
// server's key checked, the store's operations as the tree and the section use
// them, a measurement recorded onto it and read back, uploaded and downloaded
// whole, a download cut by the server's death resumed, a recording left there
// ended up, and the refusals of a missing or read-only directory.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/SftpFileAccess.h>

#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "TempDir.h"
#include "sftp/SshServer.h"
#include "support/FileContents.h"
#include "tree/SurgeryTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

class SftpStore : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string missing = SshServer::Missing();
    if (!missing.empty()) GTEST_SKIP() << missing;
    fs::create_directories(m_ServerDir.Path());
    m_Server = std::make_unique<SshServer>(m_ServerDir.Path());
    ASSERT_TRUE(m_Server->Start()) << m_Server->Log();
    m_Store = m_Server->Store();
    ASSERT_TRUE(m_Store);
    Tree::LastErrorString();
  }
  std::u16string Local(const std::string& name = "") const { return m_Local.Wide(name); }

  TempDir m_ServerDir, m_Local;
  std::unique_ptr<SshServer> m_Server;  // stopped before its directory goes
  std::shared_ptr<CSftpFileAccess> m_Store;
};

TEST_F(SftpStore, RefusesAnUnknownOrChangedHostKeyOrUserUnlessTold) {
  SftpOptions options = m_Server->Options();
  options.KnownHostsFile = (m_Local.Path() / "known_hosts").string();
  CSftpFileAccess unknown(m_Server->Location(), options);
  EXPECT_FALSE(unknown.Connect());
  EXPECT_NE(unknown.LastErrorText().find("is unknown: refused"), std::string::npos)
      << unknown.LastErrorText();
  EXPECT_FALSE(unknown.FileExists(u"."));

  // Trusted on first use, then known.
  options.AcceptNewHostKey = true;
  EXPECT_TRUE(CSftpFileAccess(m_Server->Location(), options).Connect());
  options.AcceptNewHostKey = false;
  EXPECT_TRUE(CSftpFileAccess(m_Server->Location(), options).Connect());

  // Another key for this server is refused, accepting new keys or not.
  ASSERT_EQ(std::system(("ssh-keygen -q -t ed25519 -N '' -f " + (m_Local.Path() / "other").string() +
                         " >/dev/null")
                            .c_str()),
            0);
  std::ifstream otherKey(m_Local.Path() / "other.pub");
  std::string type, key;
  otherKey >> type >> key;
  std::ofstream(options.KnownHostsFile)
      << "[127.0.0.1]:" << m_Server->Location().Port << " " << type << " " << key << "\n";
  options.AcceptNewHostKey = true;
  CSftpFileAccess changed(m_Server->Location(), options);
  EXPECT_FALSE(changed.Connect());
  EXPECT_NE(changed.LastErrorText().find("differs"), std::string::npos) << changed.LastErrorText();

  // A user key the server doesn't know.
  options = m_Server->Options();
  options.IdentityFile = (m_Local.Path() / "other").string();
  CSftpFileAccess stranger(m_Server->Location(), options);
  EXPECT_FALSE(stranger.Connect());
  EXPECT_NE(stranger.LastErrorText().find("refused the user's key"), std::string::npos)
      << stranger.LastErrorText();
}

TEST_F(SftpStore, AuthenticatesThroughTheAgentWithoutAKeyFile) {
  // An agent of the test's own, holding the user's key.
  const std::string socket = (m_Local.Path() / "agent").string();
  FILE* started = popen(("ssh-agent -s -a " + socket).c_str(), "r");
  ASSERT_NE(started, nullptr);
  char said[512] = {};
  const std::size_t length = fread(said, 1, sizeof said - 1, started);
  pclose(started);
  const std::string words(said, length);
  const std::size_t at = words.find("SSH_AGENT_PID=");
  ASSERT_NE(at, std::string::npos) << words;
  const pid_t agent = static_cast<pid_t>(std::stol(words.substr(at + 14)));
  SftpOptions options = m_Server->Options();
  const std::string key = options.IdentityFile;
  options.IdentityFile.clear();
  setenv("SSH_AUTH_SOCK", socket.c_str(), 1);
  EXPECT_EQ(std::system(("ssh-add -q " + key + " 2>/dev/null").c_str()), 0);
  CSftpFileAccess store(m_Server->Location(), options);
  EXPECT_TRUE(store.Connect()) << store.LastErrorText();
  EXPECT_TRUE(store.FileExists(u"."));
  kill(agent, SIGTERM);
  unsetenv("SSH_AUTH_SOCK");
}

TEST_F(SftpStore, KeepsTheContractOfAStoreOnTheServersFiles) {
  auto& store = m_Store;
  const fs::path root = m_Server->Root();
  ASSERT_TRUE(store->CreateDirectory(u"d"));
  EXPECT_FALSE(store->CreateDirectory(u"d"));
  EXPECT_FALSE(store->CreateDirectory(u"missing/d"));

  // The lock file's open: the second exclusive creation fails.
  unsigned int handle = 0, second = 0;
  ASSERT_TRUE(store->OpenFile(u"d/a.zrs", FileModeCreateNew, handle));
  EXPECT_FALSE(store->OpenFile(u"d/a.zrs", FileModeCreateNew, second));
  EXPECT_EQ(store->GetLastError(), FileErrorOpen);
  unsigned int count = 0;
  ASSERT_TRUE(store->WriteFile(handle, "0123456789", 10, count));
  ASSERT_TRUE(store->SeekFile(handle, -4, 2));
  char buffer[16] = {};
  ASSERT_TRUE(store->ReadFile(handle, buffer, 2, count));
  EXPECT_EQ(std::string(buffer, 2), "67");
  EXPECT_FALSE(store->ReadFile(handle, buffer, 8, count));
  EXPECT_EQ(store->GetLastError(), FileErrorEndOfFile);
  unsigned long long position = 0;
  ASSERT_TRUE(store->TellFile(handle, position));
  EXPECT_EQ(position, 10u);
  // A write taken back: the file ends where the handle stands.
  ASSERT_TRUE(store->SeekFile(handle, 12, 0));
  ASSERT_TRUE(store->SetEndOfFile(handle));
  EXPECT_EQ(fs::file_size(root / "d" / "a.zrs"), 12u);
  ASSERT_TRUE(store->SeekFile(handle, 10, 0));
  ASSERT_TRUE(store->SetEndOfFile(handle));
  ASSERT_TRUE(store->CloseFile(handle, true));
  EXPECT_EQ(fs::file_size(root / "d" / "a.zrs"), 10u);
  EXPECT_FALSE(store->SetEndOfFile(handle));
  EXPECT_EQ(store->GetLastError(), FileErrorBadHandle);
  EXPECT_FALSE(store->CloseFile(handle, true));
  EXPECT_EQ(store->GetLastError(), FileErrorBadHandle);
  EXPECT_FALSE(store->OpenFile(u"d/none", FileModeRead, handle));

  unsigned long long size = 0;
  long long time = 0;
  ASSERT_TRUE(store->FileSizeAndTime(u"d/a.zrs", size, time));
  EXPECT_EQ(size, 10u);
  EXPECT_GT(time, 0);
  EXPECT_FALSE(store->FileSize(u"d", size));  // a directory has no size

  std::ofstream(root / "d" / "a.zrsx") << "longer extension";
  fs::create_directories(root / "d" / "sub");
  std::vector<std::u16string> directories, files;
  ASSERT_TRUE(store->ListDirectory(u"d", directories, files, u"*.zrs"));
  EXPECT_EQ(files, std::vector<std::u16string>{u"d/a.zrs"});
  ASSERT_TRUE(store->ListDirectory(u"d", directories, files, u"*"));
  EXPECT_EQ(directories, std::vector<std::u16string>{u"d/sub"});
  EXPECT_EQ(files.size(), 2u);
  EXPECT_FALSE(store->ListDirectory(u"none", directories, files, u"*"));

  EXPECT_FALSE(store->RenameFile(u"d/a.zrsx", u"d/a.zrs"));  // the target exists
  ASSERT_TRUE(store->RenameFile(u"d/a.zrsx", u"d/b.txt"));
  ASSERT_TRUE(store->CopyDirectoryTree(u"d", u"e/f"));
  EXPECT_EQ(FilesBelow(root / "e" / "f"), FilesBelow(root / "d"));
  EXPECT_FALSE(store->CopyDirectoryTree(u"d", u"d/sub/x"));
  ASSERT_TRUE(store->CopyFileList(u"d", u"e", {u"a.zrs", u"b.txt"}));
  EXPECT_TRUE(fs::exists(root / "e" / "b.txt"));
  ASSERT_TRUE(store->DeleteDirectoryTree(u"e"));
  EXPECT_FALSE(fs::exists(root / "e"));
  EXPECT_TRUE(store->DeleteDirectoryTree(u"e"));
  EXPECT_FALSE(store->DeleteDirectoryTree(u"/"));
  ASSERT_TRUE(store->DeleteFile(u"d/b.txt"));
  EXPECT_FALSE(store->FileExists(u"d/b.txt"));

  // Names that would leave the destination are never fetched.
  EXPECT_FALSE(store->DownloadFile(u"d", u"../a.zrs", Local()));
  EXPECT_FALSE(store->DownloadFile(u"d", u"/etc/passwd", Local()));
  EXPECT_TRUE(store->DownloadFile(u"d", u"a.zrs", Local()));
  EXPECT_TRUE(fs::exists(m_Local.Path() / "a.zrs"));
}

TEST_F(SftpStore, RecordsOntoTheServerAndReadsBack) {
  auto& store = m_Store;
  auto tree = Tree::CreateSignalTree(Local(), u"m", store, true);
  ASSERT_TRUE(tree && tree->SetRecordBase(71));
  int handle = tree->CreateRecord(0);
  ASSERT_NE(handle, 0) << N(Tree::LastErrorString());
  StartTwoChannels(tree->wRecord(handle));
  WriteRamp(tree->wRecord(handle), 0, 10000);
  ASSERT_TRUE(tree->wRecord(handle).StopRecord());
  ASSERT_TRUE(tree->CloseRecord(handle, true));
  EXPECT_TRUE(fs::is_directory(m_Server->Root() / "Record_71" / "Record_71_1"));

  auto reader = Tree::OpenSignalTree(Local(), u"m", Tree::TreeOpenRead, store, true, u"", false);
  std::vector<CRecordId> records;
  ASSERT_TRUE(reader && reader->ListRecords(records, false));
  ASSERT_EQ(records.size(), 1u);
  int read = reader->OpenRecord(records[0], Tree::TreeOpenRead, 0);
  ASSERT_NE(read, 0) << N(Tree::LastErrorString());
  const std::vector<float> samples = ReadAll(reader->wRecord(read), kRight);
  ASSERT_EQ(samples.size(), 10000u);
  for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], static_cast<float>(i));
}

TEST_F(SftpStore, EndsUpAMeasurementLeftRecordingOnTheServer) {
  const fs::path measurement = m_Server->Root() / "Record_74";
  {
    auto tree = Tree::CreateSignalTree(Local(), u"m", m_Store, true);
    ASSERT_TRUE(tree && tree->SetRecordBase(74));
    int handle = tree->CreateRecord(0);
    ASSERT_NE(handle, 0);
    StartTwoChannels(tree->wRecord(handle));
    WriteRamp(tree->wRecord(handle), 0, 5000);
    MetaDataContainer metaData;
    ASSERT_TRUE(tree->LoadMetaDataMeasurement(metaData));
    CMetaDataMeasurementWriter writer(metaData);
    writer.ProjectName(u"Dam");
    writer.MeasurementName(u"m");
    writer.SignalFileName(u"Record_74");
    auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockWait);
    ASSERT_TRUE(tree->SaveMetaDataMeasurement(lock.get(), metaData, true));
  }  // gone with its record recording, as a process that dies leaves it
  std::ofstream(measurement / "Record_74.zff") << "header";

  std::shared_ptr<CAbstractFileAccess> store = m_Store;
  std::vector<Tree::RecordEndUp_t> repaired;
  std::vector<std::string> errors;
  EXPECT_TRUE(Tree::RecordEndUp(u"", store, true, repaired, errors))
      << (errors.empty() ? "" : errors.front());
  EXPECT_EQ(repaired.size(), 1u);
  EXPECT_TRUE(fs::exists(measurement / "Record_74.zxf"));
  const std::vector<MetaDataRecord> records = RecordList(measurement, 74);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_FALSE(records[0].Recording());
  EXPECT_DOUBLE_EQ(records[0].Duration(), 5000 / kSurgeryRate);
}

// A measurement of three records in "local/m" with one analyzer.
class SftpTransfer : public SftpStore {
 protected:
  void SetUp() override {
    SftpStore::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    fs::create_directories(m_Local.Path() / "local");
    MakeMeasurement(m_Local.Path() / "local", 72, 3, 40000);
    MetaDataContainer metaData = LoadMeasurement(Measurement(), 72);
    CMetaDataMeasurementWriter(metaData).AddAnalyzer("4711", "A1", "DISK-A", "Disk A");
    CMetaDataMeasurementWriter(metaData).ProjectName(u"Dam");
    CMetaDataMeasurementWriter(metaData).SignalFileName(u"Record_72");
    SaveMeasurement(Measurement(), 72, metaData);
  }
  fs::path Measurement() const { return m_Local.Path() / "local" / "m"; }
  bool Upload(const std::shared_ptr<CAbstractFileAccess>& store) {
    auto tree = Tree::OpenSignalTree(Local("local"), u"m", Tree::TreeOpenRead, store, true, u"",
                                     false);
    return tree && tree->UploadRecords(0);
  }
  bool Download(const std::shared_ptr<CAbstractFileAccess>& store,
                std::vector<std::u16string>& messages) {
    fs::create_directories(m_Local.Path() / "copy" / "Record_72");
    auto tree = Tree::OpenSignalTree(Local("copy"), u"Record_72", Tree::TreeOpenRead, store, true,
                                     u"Record_72", false);
    std::set<unsigned int> codes;
    return tree && tree->DownloadRecords(messages, codes, false, 0);
  }
};

TEST_F(SftpTransfer, UploadsEveryFileAndResumesADownloadTheServersDeathCut) {
  auto& store = m_Store;
  ASSERT_TRUE(Upload(store)) << store->LastErrorText();
  const std::map<std::string, std::string> measurement = FilesBelow(Measurement());
  EXPECT_EQ(FilesBelow(m_Server->Root() / "Record_72"), measurement);

  // The server dies halfway through the download.
  unsigned long long total = 0;
  for (const auto& file : measurement) total += file.second.size();
  unsigned long long moved = 0;
  store->SetProgressCallback([&](unsigned long long bytes, unsigned long long) {
    moved += bytes;
    if (moved > total / 2) m_Server->Stop();
    return true;
  });
  std::vector<std::u16string> messages;
  EXPECT_FALSE(Download(store, messages));
  EXPECT_FALSE(messages.empty());
  const unsigned long long first = moved;

  // Started again, the same store connects anew and fetches only the rest.
  ASSERT_TRUE(m_Server->Start()) << m_Server->Log();
  moved = 0;
  store->SetProgressCallback([&](unsigned long long bytes, unsigned long long) {
    moved += bytes;
    return true;
  });
  ASSERT_TRUE(Download(store, messages)) << (messages.empty() ? "" : N(messages[0]));
  EXPECT_TRUE(messages.empty());
  EXPECT_LT(moved, total - first / 2);
  // All but the metadata file, whose summary the download's check writes anew.
  std::map<std::string, std::string> copied = FilesBelow(m_Local.Path() / "copy" / "Record_72");
  std::map<std::string, std::string> sent = measurement;
  copied.erase("Record_72.zsfh");
  sent.erase("Record_72.zsfh");
  EXPECT_EQ(copied, sent);
}

TEST_F(SftpTransfer, RefusesAMissingOrReadOnlyDirectory) {
  auto& store = m_Store;
  EXPECT_FALSE(Tree::OpenSignalTree(Local(), u"Record_79", Tree::TreeOpenRead, store, true, u"",
                                    false));
  EXPECT_NE(Tree::LastErrorString().find(u"does not exist on remote disk"), std::u16string::npos);
  std::vector<std::u16string> messages;
  EXPECT_FALSE(Download(store, messages));
  ASSERT_FALSE(messages.empty());

  m_Server->Stop();
  ASSERT_TRUE(m_Server->Start(true)) << m_Server->Log();
  EXPECT_FALSE(Upload(store));
  EXPECT_FALSE(fs::exists(m_Server->Root() / "Record_72"));
  auto tree = Tree::CreateSignalTree(Local(), u"n", store, true);
  ASSERT_TRUE(tree && tree->SetRecordBase(73));
  EXPECT_EQ(tree->CreateRecord(0), 0);
  EXPECT_NE(Tree::LastErrorString().find(u"unable to create directory"), std::u16string::npos);
}

}  // namespace
