// Deleting, splitting, erasing and removing a channel are never left half done:
// a process killed at each change it makes to the store, or a store failing each
// of its calls in turn, leaves a measurement that opens, reads, and is either as
// it was or as the operation makes it once the next opening has finished it.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <sstream>

#include "support/FaultInjectingFileAccess.h"
#include "support/ChangeHookFileAccess.h"
#include "tree/SurgeryTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

constexpr long kBase = 4301;
const CRecordId kFirst(kBase, 1), kSecond(kBase, 2);

// What an operation did, as its own words: empty when it reports success.
using Operation = std::function<std::u16string(Tree&)>;

std::u16string Failure(bool done, const std::u16string& sectionText = u"") {
  if (done) return u"";
  const std::u16string text = Tree::LastErrorString();
  return text.empty() ? (sectionText.empty() ? u"no words" : sectionText) : text;
}

const struct Scenario {
  const char* name;
  Operation run;
} kScenarios[] = {
    {"delete",
     [](Tree& tree) {
       return Failure(tree.DeleteRecord(kSecond, Tree::DeleteWithMetaData, false));
     }},
    {"split",
     [](Tree& tree) {
       int handle = tree.OpenRecord(kFirst, Tree::TreeOpenDefault, 0);
       const auto ids = tree.wRecord(handle).Split(1);
       tree.CloseRecord(handle, true);
       // A split refused gives the section's own id twice.
       return ids.first == ids.second ? u"split refused" : u"";
     }},
    {"erase",
     [](Tree& tree) {
       int handle = tree.OpenRecord(kFirst, Tree::TreeOpenDefault, 0);
       const bool erased = tree.wRecord(handle).EraseParts(kLeft, 0, 0);
       const std::u16string text = tree.wRecord(handle).LastErrorString();
       tree.CloseRecord(handle, true);
       return Failure(erased, text);
     }},
    {"remove channel", [](Tree& tree) { return Failure(tree.RemoveChannel(kRight)); }},
};

// Two records (two parts and a bit, then two seconds) of two channels.
class NothingHalfDone : public TreeTest, public ::testing::WithParamInterface<Scenario> {
 protected:
  static void SetUpTestSuite() {
    s_Template = new TempDir();
    MakeMeasurement(s_Template->Path(), kBase, 2, 2 * kPartSamples + 100);
    MetaDataContainer metaData = LoadMeasurement(s_Template->Path() / "m", kBase);
    CMetaDataMeasurementWriter(metaData).NumberOfChannels(2);
    SaveMeasurement(s_Template->Path() / "m", kBase, metaData);
    s_Before = Digest(s_Template->Path());
  }
  static void TearDownTestSuite() {
    delete s_Template;
    s_Template = nullptr;
  }

  // A fresh copy of the template measurement, in a directory of its own.
  fs::path Copy() {
    const fs::path parent = m_Dir.Path() / std::to_string(m_Copies++);
    fs::create_directories(parent);
    fs::copy(s_Template->Path() / "m", parent / "m", fs::copy_options::recursive);
    return parent;
  }
  static std::unique_ptr<Tree> OpenEditing(const fs::path& parent) {
    auto tree = Tree::OpenSignalTree(W(parent.string()), u"m", Tree::TreeOpenEdit, kNoStore,
                                     false, u"", false);
    if (tree) RecordSignalTreeProbe::SetEditing(*tree, true);
    return tree;
  }

  // The measurement as a reader finds it once an opening has finished what was
  // left pending: its list, summary, channels and samples. Empty when a listed
  // record doesn't open, a listed directory is gone, or a directory is unlisted.
  static std::string Digest(const fs::path& parent) {
    auto tree = Tree::OpenSignalTree(W(parent.string()), u"m", Tree::TreeOpenRead, kNoStore,
                                     false, u"", false);
    std::vector<MetaDataRecord> list;
    if (!tree || !tree->GetRecordsVect(list)) return "";
    std::ostringstream out;
    for (const MetaDataRecord& entry : list) {
      int handle = tree->OpenRecord(CRecordId(entry.RecordId()), Tree::TreeOpenRead, 0);
      if (handle == 0) return "";
      out << entry.RecordId() << ':' << entry.LastPartNumber() << ':' << entry.Duration();
      std::vector<CChannelID> channels;
      tree->wRecord(handle).ListChannelsID(channels);
      for (const CChannelID& channel : channels) {
        const std::vector<float> samples = ReadAll(tree->wRecord(handle), channel);
        double sum = 0.0;
        for (float sample : samples) sum += sample;
        out << ' ' << channel.Id() << '=' << samples.size() << '/' << sum;
      }
      out << '\n';
      tree->CloseRecord(handle, true);
    }
    const MetaDataContainer metaData = LoadMeasurement(parent / "m", kBase);
    double duration = 0.0;
    long count = 0;
    std::vector<unsigned long long> pending;
    MetaDataMeasurementReader reader(metaData);
    reader.Duration(duration);
    reader.NumberOfChannels(count);
    reader.ChannelsToRemove(pending);
    out << "Duration " << duration << " channels " << count << " pending " << pending.size();
    // After the opening, the directories are exactly those listed.
    std::vector<CRecordId> directories;
    tree->ListRecords(directories, false);
    std::size_t listed = 0;
    for (const CRecordId& id : directories) {
      bool named = false;
      for (const MetaDataRecord& entry : list)
        named = named || CRecordId(entry.RecordId()).RecordNumber() == id.RecordNumber();
      if (!named) return "";
      ++listed;
    }
    for (const MetaDataRecord& entry : list) {
      if (!fs::exists(parent / "m" / N(CRecordId(entry.RecordId()).IdToRecordName()))) return "";
    }
    return listed > 0 ? out.str() : "";
  }

  // The measurement after a clean run of the scenario.
  std::string After(const Scenario& scenario) {
    const fs::path parent = Copy();
    auto tree = OpenEditing(parent);
    EXPECT_EQ(scenario.run(*tree), u"") << scenario.name;
    tree.reset();
    return Digest(parent);
  }

  static TempDir* s_Template;
  static std::string s_Before;
  int m_Copies = 0;
};

TempDir* NothingHalfDone::s_Template = nullptr;
std::string NothingHalfDone::s_Before;

TEST_P(NothingHalfDone, KilledAtEachChangeToTheStore) {
  ASSERT_FALSE(s_Before.empty());
  {
    const Scenario& scenario = GetParam();
    const std::string after = After(scenario);
    ASSERT_FALSE(after.empty()) << scenario.name;
    ASSERT_NE(after, s_Before) << scenario.name;
    for (unsigned long stopAt = 1;; ++stopAt) {
      const fs::path parent = Copy();
      int pipe[2];
      ASSERT_EQ(::pipe(pipe), 0);
      const pid_t child = fork();
      ASSERT_GE(child, 0);
      if (child == 0) {
        close(pipe[0]);
        auto tree = OpenEditing(parent);
        auto store = std::make_shared<ChangeHookFileAccess>(
            ChangeHookFileAccess::StopProcessAt(stopAt, pipe[1]));
        RecordSignalTreeProbe::UseStore(*tree, store);
        store->Arm();
        scenario.run(*tree);
        const char finished = 'f';
        (void)!write(pipe[1], &finished, 1);
        _exit(0);
      }
      close(pipe[1]);
      char said = 0;
      const bool stopped = read(pipe[0], &said, 1) == 1 && said == ChangeHookFileAccess::kStopped;
      close(pipe[0]);
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
      if (!stopped) break;

      // The killed process's lock file is the host's to clear, as after any crash.
      fs::remove(parent / "m" / "Metadata.lock");
      const std::string found = Digest(parent);
      EXPECT_TRUE(found == s_Before || found == after)
          << scenario.name << " killed at change " << stopAt << ":\n"
          << found;
    }
  }
}

TEST_P(NothingHalfDone, StoreFailingEachCallInTurn) {
  using Op = FaultInjectingFileAccess::Operation;
  const Op kOperations[] = {Op::Open,   Op::Write,     Op::Close, Op::Delete,
                            Op::Rename, Op::CreateDir, Op::DeleteTree, Op::List};
  {
    const Scenario& scenario = GetParam();
    const std::string after = After(scenario);
    for (const Op op : kOperations) {
      for (unsigned long call = 1;; ++call) {
        const fs::path parent = Copy();
        auto tree = OpenEditing(parent);
        auto store =
            std::make_shared<FaultInjectingFileAccess>(std::make_shared<CLocalFileAccess>());
        RecordSignalTreeProbe::UseStore(*tree, store);
        store->FailAt(op, call);
        Tree::LastErrorString();
        const std::u16string failure = scenario.run(*tree);
        const bool reached = store->Calls(op) >= call;
        tree.reset();
        if (!reached) break;
        const std::string found = Digest(parent);
        EXPECT_TRUE(found == s_Before || found == after)
            << scenario.name << " failing call " << call << " of operation " << op << ":\n"
            << found;
        if (!failure.empty()) {
          EXPECT_NE(failure, u"no words") << scenario.name;
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, NothingHalfDone, ::testing::ValuesIn(kScenarios),
                         [](const ::testing::TestParamInfo<Scenario>& info) {
                           std::string name = info.param.name;
                           name.erase(std::remove(name.begin(), name.end(), ' '), name.end());
                           return name;
                         });

}  // namespace
