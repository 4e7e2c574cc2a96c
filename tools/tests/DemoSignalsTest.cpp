// The demo generators must give one signal however it is cut into blocks, keep
// their frequencies and periods over long spans, and store Compact16 faithfully.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <numeric>
#include <vector>

#include "DemoMeasurement.h"
#include "DemoSignals.h"

namespace zsff_tools {
namespace {

constexpr double kRate = 51200.0;

using Factory = std::function<std::unique_ptr<SignalGenerator>()>;

std::vector<double> Generate(SignalGenerator& generator, std::size_t count, std::size_t block) {
  std::vector<double> out(count);
  for (std::size_t done = 0; done < count; done += block) {
    generator.Next(out.data() + done, std::min(block, count - done));
  }
  return out;
}

// Rising zero crossings per second over [first, first + count).
double MeasuredFrequency(const std::vector<double>& signal, std::size_t first, std::size_t count) {
  int crossings = 0;
  for (std::size_t i = first + 1; i < first + count; ++i) {
    if (signal[i - 1] < 0.0 && signal[i] >= 0.0) ++crossings;
  }
  return crossings * kRate / static_cast<double>(count);
}

TEST(DemoSignals, EveryGeneratorGivesTheSameSignalWhateverTheBlocks) {
  const std::vector<Factory> factories = {
      [] {
        auto g = std::make_unique<ToneGenerator>(kRate, 0.5);
        g->AddTone(1000.0, 1.0);
        g->AddTone(333.3, 0.5, 0.25);
        return g;
      },
      [] { return std::make_unique<ChirpGenerator>(kRate, 20.0, 20000.0, 0.01, 2.0); },
      [] { return std::make_unique<NoiseGenerator>(42, 1.0); },
      [] { return std::make_unique<PulseGenerator>(kRate, 0.0013, 0.0002, 5.0); },
      [] { return std::make_unique<ImpactGenerator>(kRate, 0.003, 800.0, 10.0, 0.001); },
      [] {
        auto tone = std::make_unique<ToneGenerator>(kRate);
        tone->AddTone(120.0, 20.0);
        return std::make_unique<NoisyGenerator>(std::move(tone), 7, 1.0, 64);
      },
  };
  const std::size_t count = 3000;  // crosses chirp, pulse and impact periods
  for (std::size_t f = 0; f < factories.size(); ++f) {
    const auto whole = factories[f]();
    const std::vector<double> reference = Generate(*whole, count, count);
    for (const std::size_t block : {1u, 7u, 64u, 65u, 1000u}) {
      const auto cut = factories[f]();
      EXPECT_EQ(Generate(*cut, count, block), reference)
          << "generator " << f << ", blocks of " << block;
    }
  }
}

TEST(DemoSignals, OscillatorFollowsTheSineAcrossItsAnchors) {
  // A step that no binary fraction holds, and a start phase, over many anchors.
  const double step = 997.0 / 51200.0;
  Oscillator oscillator(step, 0.3);
  double worst = 0.0;
  for (unsigned long long n = 0; n < 100 * Oscillator::kAnchor + 17; ++n) {
    const long double turns = 0.3L + static_cast<long double>(n) * (997.0L / 51200.0L);
    const double expected = static_cast<double>(
        std::sin(6.283185307179586476925286766559L * (turns - std::floor(turns))));
    worst = std::max(worst, std::fabs(oscillator.Next() - expected));
  }
  EXPECT_LT(worst, 1e-9);
}

TEST(DemoSignals, TonesAndChirpHaveTheirFrequencies) {
  ToneGenerator tone(kRate);
  ASSERT_TRUE(tone.AddTone(1000.0, 1.0));
  const std::vector<double> sine = Generate(tone, 51200, 5120);
  EXPECT_NEAR(MeasuredFrequency(sine, 0, 51200), 1000.0, 1.0);
  double peak = 0.0;
  for (const double v : sine) peak = std::max(peak, std::fabs(v));
  EXPECT_NEAR(peak, 1.0, 1e-3);

  // A long run keeps its phase: ten minutes later a 997 Hz tone (a step that no
  // binary fraction holds) crosses zero where it should.
  ToneGenerator late(kRate);
  late.AddTone(997.0, 1.0);
  std::vector<double> skip(51200);
  for (int second = 0; second < 600; ++second) late.Next(skip.data(), skip.size());
  double first = 1.0;
  late.Next(&first, 1);
  EXPECT_NEAR(first, 0.0, 1e-6);

  EXPECT_TRUE(tone.AddTone(1.0, 0.0) && tone.AddTone(2.0, 0.0) && tone.AddTone(3.0, 0.0));
  EXPECT_FALSE(tone.AddTone(4.0, 0.0));

  // One second sweeping 1 kHz to 11 kHz: slow at the start, fast at the end,
  // and back to the start frequency after the sweep.
  ChirpGenerator chirp(kRate, 1000.0, 11000.0, 1.0, 1.0);
  const std::vector<double> sweep = Generate(chirp, 51200 + 5120, 512);
  EXPECT_NEAR(MeasuredFrequency(sweep, 0, 5120), 1500.0, 30.0);
  EXPECT_NEAR(MeasuredFrequency(sweep, 46080, 5120), 10500.0, 30.0);
  EXPECT_NEAR(MeasuredFrequency(sweep, 51200, 5120), 1500.0, 30.0);
}

TEST(DemoSignals, PulsesKeepTheirPeriodAndWidth) {
  // 1500 rpm: 2048 samples a period, 0.5 ms pulses of 25.6 samples.
  PulseGenerator pulses(kRate, 0.04, 0.0005, 5.0);
  const std::vector<double> signal = Generate(pulses, 512000, 5120);
  std::vector<std::size_t> rises;
  std::size_t high = 0;
  for (std::size_t i = 0; i < signal.size(); ++i) {
    ASSERT_TRUE(signal[i] == 0.0 || signal[i] == 5.0);
    if (signal[i] == 5.0) ++high;
    if (signal[i] == 5.0 && (i == 0 || signal[i - 1] == 0.0)) rises.push_back(i);
  }
  ASSERT_EQ(rises.size(), 250u);
  for (std::size_t i = 0; i < rises.size(); ++i) EXPECT_EQ(rises[i], i * 2048);
  EXPECT_EQ(high, 250u * 26);

  // A period of a fractional number of samples doesn't drift: 1000.5 samples.
  PulseGenerator odd(1000.0, 1.0005, 0.002, 1.0);
  const std::vector<double> oddSignal = Generate(odd, 1000500 + 1, 999);
  int count = 0;
  for (std::size_t i = 0; i < oddSignal.size(); ++i) {
    if (oddSignal[i] == 1.0 && (i == 0 || oddSignal[i - 1] == 0.0)) ++count;
  }
  EXPECT_EQ(count, 1001);  // at 0, 1000.5, ..., 1000500: 1001 pulses exactly
  EXPECT_EQ(oddSignal[1000500], 1.0);
}

TEST(DemoSignals, NoiseIsGaussianAndReproducible) {
  NoiseGenerator noise(1234, 2.0, 0.5);
  const std::vector<double> a = Generate(noise, 200000, 5120);
  const double mean = std::accumulate(a.begin(), a.end(), 0.0) / a.size();
  double square = 0.0;
  std::size_t within = 0;
  for (const double v : a) {
    square += (v - mean) * (v - mean);
    if (std::fabs(v - 0.5) < 2.0) ++within;
  }
  EXPECT_NEAR(mean, 0.5, 0.02);
  EXPECT_NEAR(std::sqrt(square / a.size()), 2.0, 0.02);
  EXPECT_NEAR(static_cast<double>(within) / a.size(), 0.6827, 0.005);  // one sigma

  NoiseGenerator same(1234, 2.0, 0.5);
  NoiseGenerator other(1235, 2.0, 0.5);
  EXPECT_EQ(Generate(same, 1000, 1000), std::vector<double>(a.begin(), a.begin() + 1000));
  EXPECT_NE(Generate(other, 1000, 1000), std::vector<double>(a.begin(), a.begin() + 1000));

  NoiseGenerator zeroSeed(0, 1.0);  // must not get stuck at a constant
  const std::vector<double> z = Generate(zeroSeed, 100, 100);
  EXPECT_NE(z.front(), z.back());
}

TEST(DemoSignals, Compact16RoundsAndClamps) {
  const double coefficient = 0.01;
  const std::vector<double> in = {0.0, 0.004,   0.006,   -0.006, 327.67, 327.68,
                                  1e9, -327.68, -327.69, -1e9,   1.234};
  std::vector<std::int16_t> out(in.size());
  QuantizeCompact16(in.data(), out.data(), in.size(), coefficient);
  const std::vector<std::int16_t> expected = {0,     0,      1,      -1,     32767, 32767,
                                              32767, -32768, -32768, -32768, 123};
  EXPECT_EQ(out, expected);

  // What a reader gets back is within half a step of what was generated.
  std::vector<double> ramp(2001);
  for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = -100.0 + 0.1 * i + 0.0037;
  std::vector<std::int16_t> stored(ramp.size());
  QuantizeCompact16(ramp.data(), stored.data(), ramp.size(), coefficient);
  for (std::size_t i = 0; i < ramp.size(); ++i) {
    EXPECT_LE(std::fabs(stored[i] * coefficient - ramp[i]), coefficient / 2 + 1e-12);
  }
}

TEST(DemoMeasurement, PlanSplitsTheSignalExactlyAndBoundsTheLastRecord) {
  const std::vector<RecordPlan> one = PlanRecords(2.0, 1, kRate);
  ASSERT_EQ(one.size(), 1u);
  EXPECT_EQ(one[0].Samples, 102400u);
  EXPECT_EQ(one[0].RingSeconds, 0.0);

  for (const int records : {2, 3, 7}) {
    const std::vector<RecordPlan> plan = PlanRecords(120.0, records, kRate);
    ASSERT_EQ(plan.size(), static_cast<std::size_t>(records));
    unsigned long long sum = 0;
    for (std::size_t i = 0; i < plan.size(); ++i) {
      sum += plan[i].Samples;
      EXPECT_EQ(plan[i].RingSeconds > 0.0, i + 1 == plan.size()) << "record " << i;
    }
    EXPECT_EQ(sum, 6144000u);
    EXPECT_GT(plan[0].Samples, 64u * 51200u);  // the first record fills more than one part
    EXPECT_DOUBLE_EQ(plan.back().RingSeconds, plan.back().Samples / kRate / 2.0);
  }
  // 11 samples over 4 records: 6 for the first, 2, 2, 1 for the others.
  const std::vector<RecordPlan> odd = PlanRecords(11.0, 4, 1.0);
  ASSERT_EQ(odd.size(), 4u);
  EXPECT_EQ(odd[0].Samples + odd[1].Samples + odd[2].Samples + odd[3].Samples, 11u);
  EXPECT_EQ(odd[1].Samples, 2u);
  EXPECT_EQ(odd[3].Samples, 1u);

  EXPECT_TRUE(PlanRecords(0.0, 3, kRate).empty());
  EXPECT_TRUE(PlanRecords(10.0, 0, kRate).empty());
}

TEST(DemoMeasurement, ChannelsStoreTheirFormats) {
  std::vector<DemoChannel> channels = MakeDemoChannels(256);
  ASSERT_EQ(channels.size(), 8u);
  int formats[4] = {};
  for (DemoChannel& channel : channels) {
    ++formats[channel.Format()];
    float rate = 0.0f;
    EXPECT_TRUE(channel.MetaData().FindMetadata("SamplingRate", rate));
    EXPECT_EQ(rate, static_cast<float>(kDemoSamplingRate));
    // Asking for more than the buffer holds gives the buffer's worth, no more.
    EXPECT_NE(channel.NextBlock(1000), nullptr);
  }
  EXPECT_EQ(formats[zsff::SIFloat], 4);
  EXPECT_EQ(formats[zsff::SIDouble], 2);
  EXPECT_EQ(formats[zsff::Compact16], 2);

  // The Compact16 noise channel keeps its samples within the 16-bit range.
  DemoChannel& noise = channels[3];
  ASSERT_EQ(noise.Format(), zsff::Compact16);
  const auto* samples = static_cast<const std::int16_t*>(noise.NextBlock(256));
  double square = 0.0;
  for (int i = 0; i < 256; ++i)
    square += samples[i] * noise.Coefficient() * samples[i] * noise.Coefficient();
  EXPECT_NEAR(std::sqrt(square / 256), 1.0, 0.2);  // 1 V of noise
}

}  // namespace
}  // namespace zsff_tools
