// What "zsff record" records: eight channels of an imaginary analyzer, each with
// the metadata a host hands the library and a synthetic signal, and the split of
// the requested time into records.
#pragma once

#include <zsff/ChannelId.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/SignalTypes.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "DemoSignals.h"

namespace zsff_tools {

constexpr double kDemoSamplingRate = 51200.0;
constexpr unsigned short kDemoAnalyzerIndex = 1;
constexpr unsigned long kDemoDeviceSerial = 4711;

// One channel: its id and metadata, its signal, and a buffer for one block in
// the stored format. Everything is allocated by the constructor; NextBlock only
// fills what is there.
class DemoChannel {
 public:
  DemoChannel(zsff::CChannelID id, zsff::MetaDataContainer metaData, zsff::SampleFormat_t format,
              double coefficient, std::unique_ptr<SignalGenerator> generator, std::size_t maxBlock);

  const zsff::CChannelID& Id() const { return m_Id; }
  const zsff::MetaDataContainer& MetaData() const { return m_MetaData; }
  zsff::SampleFormat_t Format() const { return m_Format; }
  // Physical value of one Compact16 step; 1 for the other formats.
  double Coefficient() const { return m_Coefficient; }
  std::size_t SampleSize() const;

  // Generates the next `count` samples (at most the constructor's `maxBlock`) and
  // returns them in the stored format.
  const void* NextBlock(std::size_t count);

 private:
  zsff::CChannelID m_Id;
  zsff::MetaDataContainer m_MetaData;
  zsff::SampleFormat_t m_Format;
  double m_Coefficient;
  std::unique_ptr<SignalGenerator> m_Generator;
  std::size_t m_MaxBlock;
  std::unique_ptr<double[]> m_Values;
  std::unique_ptr<unsigned char[]> m_Stored;
};

// The eight channels: sines, harmonics, a chirp, noise and vibration in
// Compact16, impacts and a reference in SIDouble, and a trigger.
std::vector<DemoChannel> MakeDemoChannels(std::size_t maxBlock);

// One record of the plan.
struct RecordPlan {
  unsigned long long Samples = 0;  // per channel
  double RingSeconds = 0.0;        // 0: a plain record with parts of 64 s
};

// Splits `seconds` of signal into `records` records at `samplingRate`. One
// record takes it all. With more, the first takes 60 % (long enough for a
// second 64 s part at the default length) and the others share the rest; the
// last is a ring bounded to half its length, so that it drops its oldest parts.
// The sample counts add up to the whole exactly.
std::vector<RecordPlan> PlanRecords(double seconds, int records, double samplingRate);

}  // namespace zsff_tools
