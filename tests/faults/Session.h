// A host's session over one store, the script the fault sweep runs again and
// again: create a measurement, record three records of two channels (the second
// in a ring, a marker in the first), read each back, zoom over them all, read the
// markers, and reopen the measurement to list its records. Every sample tells
// its index in its record, so a record reads back equal or it doesn't.
#pragma once

#include <zsff/FileAccess.h>
#include <zsff/RecordId.h>

#include <memory>
#include <string>
#include <vector>

namespace zsff_test {

class FaultInjectingFileAccess;

// Samples a channel of record `index` (from 0) holds once finished.
unsigned long long SessionRecordSamples(std::size_t index);

struct SessionOutcome {
  // The step that failed first ("" when every step went through), and the text
  // that the library gave for it.
  std::string FailedStep;
  std::string ErrorText;
  // The failing step was the read-back finding a record other than written,
  // with no call failing: a failure some earlier call swallowed.
  bool ReadBackDiffered = false;
  // The records stopped and closed before any fault struck.
  std::vector<zsff::CRecordId> FinishedBeforeFault;
  // The records stopped and closed at all, in order.
  std::vector<zsff::CRecordId> Finished;
};

// Runs the session on measurement `name` under `parent`, which the store holds
// (and the local disk holds empty: the tree makes it there), with records of
// base `base`. The session stops at the first step that fails, as a host that
// gives up does, and lets the tree go with whatever is still open.
SessionOutcome RunSession(const std::u16string& parent, const std::u16string& name, long base,
                          const std::shared_ptr<FaultInjectingFileAccess>& store);

// Ends up the measurement on `store`, then reads every record of `records`
// back through a tree; "" when it passes, else what went wrong.
std::string CheckAfterwards(const std::u16string& parent, const std::u16string& name,
                            const std::shared_ptr<zsff::CAbstractFileAccess>& store,
                            const std::vector<zsff::CRecordId>& records);

}  // namespace zsff_test
