// The session failed at every store call in turn: once to count the calls of
// each kind, then again with the n-th call of one kind failing, for every kind
// and n (a seeded sample of n for the kinds with many calls, unless
// ZSFF_FULL_FAULT_SWEEP is set). Each run must give its failing step a text,
// and leave a measurement that the end-up accepts and in which every record
// finished before the fault reads back as written.
#include <gtest/gtest.h>
#include <zsff/MemoryFileAccess.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "TempDir.h"
#include "faults/Session.h"
#include "support/FaultInjectingFileAccess.h"

namespace zsff_test {
namespace {

using Op = FaultInjectingFileAccess::Operation;

struct Kind {
  const char* Name;
  Op Operation;
  enum { Once, FromThenOn, Short } Mode;
};

const Kind kKinds[] = {
    {"open", FaultInjectingFileAccess::Open, Kind::Once},
    {"read", FaultInjectingFileAccess::Read, Kind::Once},
    {"write", FaultInjectingFileAccess::Write, Kind::Once},
    {"seek", FaultInjectingFileAccess::Seek, Kind::Once},
    {"tell", FaultInjectingFileAccess::Tell, Kind::Once},
    {"close", FaultInjectingFileAccess::Close, Kind::Once},
    {"set end", FaultInjectingFileAccess::SetEnd, Kind::Once},
    {"delete", FaultInjectingFileAccess::Delete, Kind::Once},
    {"rename", FaultInjectingFileAccess::Rename, Kind::Once},
    {"create directory", FaultInjectingFileAccess::CreateDir, Kind::Once},
    {"delete tree", FaultInjectingFileAccess::DeleteTree, Kind::Once},
    {"list", FaultInjectingFileAccess::List, Kind::Once},
    {"full disk", FaultInjectingFileAccess::Write, Kind::FromThenOn},
    {"short write", FaultInjectingFileAccess::Write, Kind::Short},
};

// Fault points of a kind that the quick sweep tries every one of.
constexpr unsigned long kQuickPoints = 60;

class FaultSweep {
 public:
  // One session on a fresh memory store; `arm` sets its fault up.
  template <typename Arm>
  SessionOutcome Run(Arm arm, std::string& afterwards) {
    auto memory = std::make_shared<zsff::CMemoryFileAccess>();
    // The store holds the measurement's directory, as the tree expects of it.
    const std::string path = m_Parent.Path().string();
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1))
      memory->CreateDirectory(std::u16string(path.begin(), path.begin() + slash));
    const std::u16string name = u"m" + Wide(std::to_string(++m_Runs));
    memory->CreateDirectory(m_Parent.Wide());
    memory->CreateDirectory(m_Parent.Wide() + u"/" + name);

    auto store = std::make_shared<FaultInjectingFileAccess>(memory);
    arm(*store);
    SessionOutcome outcome = RunSession(m_Parent.Wide(), name, 9000 + m_Runs, store);
    m_Struck = store->Injected() != 0;
    for (int op = 0; op < FaultInjectingFileAccess::OperationCount; ++op)
      m_Calls[op] = store->Calls(static_cast<Op>(op));
    store->Reset();
    afterwards = CheckAfterwards(m_Parent.Wide(), name, memory, outcome.FinishedBeforeFault);
    return outcome;
  }
  // Whether the fault of the last run struck at all, and the calls it made.
  bool Struck() const { return m_Struck; }
  unsigned long Calls(Op op) const { return m_Calls[op]; }

 private:
  static std::u16string Wide(const std::string& text) {
    return std::u16string(text.begin(), text.end());
  }

  TempDir m_Parent;
  long m_Runs = 0;
  bool m_Struck = false;
  std::vector<unsigned long> m_Calls =
      std::vector<unsigned long>(FaultInjectingFileAccess::OperationCount);
};

// The fault points of a kind with `calls` calls: all of them, or every one of
// the first and last few and a seeded sample between.
std::vector<unsigned long> Points(unsigned long calls, bool full, std::mt19937& random) {
  std::vector<unsigned long> points;
  for (unsigned long n = 1; n <= calls; ++n) points.push_back(n);
  if (full || calls <= kQuickPoints) return points;
  std::vector<unsigned long> middle(points.begin() + 10, points.end() - 10);
  std::shuffle(middle.begin(), middle.end(), random);
  middle.resize(kQuickPoints - 20);
  std::vector<unsigned long> chosen(points.begin(), points.begin() + 10);
  chosen.insert(chosen.end(), points.end() - 10, points.end());
  chosen.insert(chosen.end(), middle.begin(), middle.end());
  std::sort(chosen.begin(), chosen.end());
  return chosen;
}

TEST(FaultSweep, EveryStoreCallFailedInTurnLeavesATextAndEveryFinishedRecord) {
  FaultSweep sweep;
  std::string afterwards;
  const SessionOutcome clean = sweep.Run([](FaultInjectingFileAccess&) {}, afterwards);
  EXPECT_EQ(clean.FailedStep, "") << clean.ErrorText;
  ASSERT_EQ(afterwards, "");
  ASSERT_EQ(clean.Finished.size(), 3u);
  std::vector<unsigned long> calls;
  for (const Kind& kind : kKinds) calls.push_back(sweep.Calls(kind.Operation));

  const bool full = std::getenv("ZSFF_FULL_FAULT_SWEEP") != nullptr;
  std::mt19937 random(20);
  unsigned long tried = 0, unreported = 0;
  int shown = 0;
  for (std::size_t k = 0; k < std::size(kKinds); ++k) {
    const Kind& kind = kKinds[k];
    for (unsigned long n : Points(calls[k], full, random)) {
      const SessionOutcome outcome = sweep.Run(
          [&](FaultInjectingFileAccess& store) {
            if (kind.Mode == Kind::Short)
              store.ShortWriteAt(n);
            else
              store.FailAt(kind.Operation, n, kind.Mode == Kind::FromThenOn);
          },
          afterwards);
      ++tried;
      if (sweep.Struck() && outcome.FailedStep.empty()) ++unreported;
      std::string fault;
      if (outcome.ReadBackDiffered)
        fault = "every step succeeded, yet " + outcome.FailedStep;
      else if (!outcome.FailedStep.empty() && outcome.ErrorText.empty())
        fault = outcome.FailedStep + " failed without a text";
      else if (!afterwards.empty())
        fault = "afterwards, " + afterwards + " (the session: " +
                (outcome.FailedStep.empty() ? "went through" : outcome.FailedStep + ": " + outcome.ErrorText) + ")";
      if (!fault.empty() && ++shown <= 25) ADD_FAILURE() << kind.Name << " " << n << ": " << fault;
    }
  }
  std::printf("fault points tried: %lu (%s), faults no step reported: %lu\n", tried,
              full ? "every call" : "sampled", unreported);
}

}  // namespace
}  // namespace zsff_test
