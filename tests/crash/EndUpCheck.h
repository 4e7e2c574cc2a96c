// What the end-up must make of a recording that ended without a stop: run it on
// the directory, then read the measurement back as a host would and hold it to
// what the recording had handed over.
#pragma once

#include <filesystem>
#include <string>

#include "crash/Workload.h"

namespace zsff_test {

struct EndUpOutcome {
  bool Repaired = false;  // the end-up reported the measurement repaired
  // Samples that a channel had handed over in rounds every channel finished, and
  // that the end-up didn't keep: what went beyond the blocks in flight.
  unsigned long long Lost = 0;
};

// Runs RecordEndUp on `parent`, then checks measurement "m" against `handed`, each
// fault a test failure prefixed with `label`: it opens and is finished, every
// record is finished, every kept sample is the one written, none beyond the
// blocks handed over and none missing of the rounds that `required` (by default
// `handed`) finished, the durations agree with the samples, each channel's
// pyramid with its samples, and a zoom over the whole measurement works.
EndUpOutcome CheckEndUp(const std::filesystem::path& parent, const WorkloadPlan& plan,
                        const Handed& handed, const std::string& label,
                        const Handed* required = nullptr);

}  // namespace zsff_test
