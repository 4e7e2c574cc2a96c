// A reader in one process follows a record that another process records into a
// ring: each side has its own tree, and they meet only in the measurement's files.
// The recorder is a forked child that writes when the reader tells it to, so what
// the reader meets at each step doesn't depend on the machine's speed.
#include <sys/wait.h>
#include <unistd.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordSignalTree.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

#include "support/ChildProcess.h"
#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;
using Section = CAbstractRecordSection;

namespace {

constexpr unsigned int kBase = 3101;
const CChannelID kChannel(1, 0, 4711);
// 16 samples a second in parts of 64 s: 1024 samples a part. A ring of 128 s
// keeps the part being written and the two before it.
constexpr float kRate = 16.0f;
constexpr unsigned long long kPart = 1024;
constexpr double kRingSeconds = 128.0;

// Where the recorder stops at each step; the reader asks for each step in turn.
constexpr unsigned long long kFirstBlock = 300;                   // inside part 0
constexpr unsigned long long kIntoPartOne = kFirstBlock + kPart;  // the reader ends up in part 1
constexpr unsigned long long kPastTheRing = 5 * kPart + 300;      // parts 0 to 2 dropped
// The last stretch stays in part 5, so the ring drops nothing more: what the
// reader gets after its jump is then the same however far behind it lags.
constexpr unsigned long long kTotal = 6 * kPart - 123;

// Sample i of the record; both sides compute it, and it is exact in a float.
float SampleAt(unsigned long long i) {
  return static_cast<float>(static_cast<long long>(i % 5003) - 2501);
}

std::vector<float> Expected(unsigned long long from, unsigned long long to) {
  std::vector<float> samples;
  for (unsigned long long i = from; i < to; ++i) samples.push_back(SampleAt(i));
  return samples;
}

// The recording process: a measurement of one channel in a ring, written in the
// steps the reader asks for. Its exit code names the step that failed.
int RecordInChild(const std::u16string& parent, Signal& toReader, Signal& fromReader) {
  std::unique_ptr<Tree> tree = Tree::CreateSignalTree(parent, u"m", kNoStore, false);
  if (!tree || !tree->SetRecordBase(kBase)) return 10;
  int handle = tree->CreateRecord(0);
  if (handle == 0) return 11;
  Section& section = tree->wRecord(handle);
  MetaDataContainer metaData;
  CMetaDataChannelWriter writer(metaData);
  writer.SamplingRate(kRate);
  writer.Name(u"Followed");
  writer.Format("SIFloat");
  if (!section.AddChannel(kChannel, metaData)) return 12;
  if (!section.ArmRecord(kRingSeconds, PartLengthShort, false)) return 13;
  std::map<CChannelID, TAG_RECORD_INFO> infos;
  infos[kChannel].AbsoluteDate = 133000000000000000LL;
  if (!section.StartRecord(infos)) return 14;

  unsigned long long done = 0;
  // Blocks of 97 samples, so that blocks straddle the part boundaries.
  auto writeUpTo = [&](unsigned long long end, bool pause) {
    while (done < end) {
      const unsigned long long count = std::min<unsigned long long>(97, end - done);
      const std::vector<float> block = Expected(done, done + count);
      if (!section.WriteSampleBlock(kChannel, block.data(), count, true)) return false;
      done += count;
      if (pause) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  };
  if (!writeUpTo(kFirstBlock, false) || !toReader.Send()) return 20;
  if (!fromReader.Receive() || !writeUpTo(kIntoPartOne, false) || !toReader.Send()) return 21;
  if (!fromReader.Receive() || !writeUpTo(kPastTheRing, false) || !toReader.Send()) return 22;
  // The last stretch runs while the reader reads, as a live recording does; the
  // stop waits until the reader has stood at the live end.
  if (!fromReader.Receive() || !writeUpTo(kTotal, true) || !toReader.Send()) return 23;
  if (!fromReader.Receive() || !section.StopRecord()) return 24;
  if (!tree->CloseRecord(handle, false)) return 25;
  Tree::CloseSignalTree(tree);
  return 0;
}

// Reads until a read gives nothing, or until the read that reached the end of
// the finished record has stopped the reading; the samples go to `out`.
void ReadAvailable(Section& section, std::vector<float>& out) {
  std::vector<float> buffer(700);
  while (section.State() != Section::SectionStopped) {
    const unsigned long long got =
        section.ReadSampleBlock(kChannel, buffer.data(), buffer.size(), SampleReadRecorded);
    if (got == 0) return;
    out.insert(out.end(), buffer.begin(), buffer.begin() + static_cast<long>(got));
  }
}

Section::ReadState_t StateOf(const Section& section) {
  Section::ReadState_t state = Section::ReadStateNone;
  section.EndOfReading(kChannel, state);
  return state;
}

class FollowFromAnotherProcess : public TreeTest {};

TEST_F(FollowFromAnotherProcess, ReaderSeesTheEndMoveTheRingOvertakeItAndTheEnd) {
  Signal toReader;
  Signal fromReader;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    toReader.KeepSendingEnd();
    fromReader.KeepReceivingEnd();
    _exit(RecordInChild(m_Dir.Wide(), toReader, fromReader));
  }
  toReader.KeepReceivingEnd();
  fromReader.KeepSendingEnd();
  Reaper reaper{child};
  // A child that fails ends its pipe; its exit status then names the step.
  auto childFailure = [&reaper]() {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return testing::Message() << "the recorder's status: " << reaper.Wait(WNOHANG);
  };

  // The record has begun: only the measurement file knows, since no section of
  // this process records.
  ASSERT_TRUE(toReader.Receive()) << childFailure();
  std::unique_ptr<Tree> tree =
      Tree::OpenSignalTree(m_Dir.Wide(), u"m", Tree::TreeOpenRead, kNoStore, false, u"", false);
  ASSERT_TRUE(tree) << N(Tree::LastErrorString());
  EXPECT_TRUE(tree->IsRecording(true));
  EXPECT_FALSE(tree->IsRecording(false));
  std::vector<MetaDataRecord> records;
  ASSERT_TRUE(tree->GetRecordsVect(records));
  ASSERT_EQ(records.size(), 1u);
  EXPECT_TRUE(records[0].Recording());
  int handle = tree->OpenRecord(CRecordId(records[0].RecordId()), Tree::TreeOpenDefault, 0);
  ASSERT_NE(handle, 0) << N(Tree::LastErrorString());
  Section& section = tree->wRecord(handle);
  ASSERT_TRUE(section.IsValidChannel(kChannel));

  // What is there so far, then the live end: nothing more, no failure, and the
  // reading goes on.
  std::vector<float> head;
  ReadAvailable(section, head);
  EXPECT_EQ(head, Expected(0, kFirstBlock));
  EXPECT_EQ(StateOf(section), Section::ReadStateLiveEnd);
  EXPECT_EQ(section.LastErrorString(), u"");
  EXPECT_EQ(section.State(), Section::SectionReading);

  // The end moves on, into part 1, and the reader with it.
  ASSERT_TRUE(fromReader.Send());
  ASSERT_TRUE(toReader.Receive()) << childFailure();
  ReadAvailable(section, head);
  EXPECT_EQ(head, Expected(0, kIntoPartOne));
  EXPECT_EQ(StateOf(section), Section::ReadStateLiveEnd);
  EXPECT_EQ(section.LastErrorString(), u"");
  EXPECT_EQ(section.State(), Section::SectionReading);

  // The ring drops parts 0 to 2, the reader's part 1 among them.
  ASSERT_TRUE(fromReader.Send());
  ASSERT_TRUE(toReader.Receive()) << childFailure();
  EXPECT_EQ(StateOf(section), Section::ReadStateOvertaken);
  // While the record grows, positions count from its first sample, and what the
  // ring dropped lies in front of the retained signal: the host jumps over it.
  const unsigned long long oldest =
      section.SignalLengthSpl(kChannel, true) - section.SignalLengthSpl(kChannel, false);
  EXPECT_EQ(oldest % kPart, 0u);
  EXPECT_GT(oldest, kIntoPartOne);
  EXPECT_FALSE(section.SetReadPosSpl(kChannel, 0));
  ASSERT_TRUE(section.SetReadPosSpl(kChannel, oldest)) << N(section.LastErrorString());
  std::vector<float> tail;
  ReadAvailable(section, tail);
  EXPECT_EQ(tail, Expected(oldest, kPastTheRing));
  EXPECT_EQ(StateOf(section), Section::ReadStateLiveEnd);

  // The last stretch, read while it is written; each time the reader catches up
  // it stands at the live end.
  ASSERT_TRUE(fromReader.Send());
  do {
    const size_t before = tail.size();
    ReadAvailable(section, tail);
    EXPECT_EQ(section.LastErrorString(), u"") << "after " << tail.size() << " samples";
    EXPECT_EQ(StateOf(section), Section::ReadStateLiveEnd) << "after " << tail.size();
    if (tail.size() == before) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  } while (!toReader.Pending());
  ASSERT_TRUE(toReader.Receive()) << childFailure();
  ReadAvailable(section, tail);
  EXPECT_EQ(tail, Expected(oldest, kTotal));
  EXPECT_EQ(StateOf(section), Section::ReadStateLiveEnd);
  EXPECT_EQ(section.State(), Section::SectionReading);

  // The recorder stops, and the measurement file says so; the next read finds
  // nothing more and ends the reading.
  ASSERT_TRUE(fromReader.Send());
  const int status = reaper.Wait();
  ASSERT_TRUE(WIFEXITED(status)) << status;
  ASSERT_EQ(WEXITSTATUS(status), 0);
  ReadAvailable(section, tail);
  EXPECT_EQ(section.LastErrorString(), u"");
  EXPECT_EQ(StateOf(section), Section::ReadStateEnd);
  EXPECT_EQ(section.State(), Section::SectionStopped);
  EXPECT_EQ(tail, Expected(oldest, kTotal));

  // The finished record holds exactly what was read after the jump.
  EXPECT_FALSE(tree->IsRecording(true));
  ASSERT_TRUE(tree->GetRecordsVect(records));
  ASSERT_EQ(records.size(), 1u);
  EXPECT_FALSE(records[0].Recording());
  EXPECT_EQ(CRecordId(records[0].RecordId()).PartNumber() * kPart, oldest);
  EXPECT_EQ(section.SignalLengthSpl(kChannel, false), tail.size());
  EXPECT_TRUE(tree->CloseRecord(handle, false));
  Tree::CloseSignalTree(tree);
}

}  // namespace
