// Synthetic signals for the demo recording: sines, a chirp, noise, decaying
// impacts and trigger pulses. Each generator is a small state machine that hands
// out the next samples of an endless signal into the caller's buffer, so that a
// signal cut into blocks of any size is the same signal: no allocation and no
// dependence on the block length. Values are physical (volts, pascal, ...); the
// Quantize functions turn them into the stored sample formats.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zsff_tools {

class SignalGenerator {
 public:
  virtual ~SignalGenerator() = default;
  // Writes the next `count` values to `out`.
  virtual void Next(double* out, std::size_t count) = 0;
};

// A sum of up to four sines, each with its own frequency (Hz), amplitude and
// phase (in turns, 0..1). Phases are kept in turns and wrapped, so hours of
// signal lose no precision.
class ToneGenerator : public SignalGenerator {
 public:
  static constexpr int kMaxTones = 4;
  explicit ToneGenerator(double samplingRate, double offset = 0.0);
  // False when the four tones are taken.
  bool AddTone(double frequency, double amplitude, double phase = 0.0);
  void Next(double* out, std::size_t count) override;

 private:
  double m_SamplingRate;
  double m_Offset;
  int m_Count = 0;
  double m_Step[kMaxTones] = {};   // turns per sample
  double m_Phase[kMaxTones] = {};  // turns, in [0, 1)
  double m_Amplitude[kMaxTones] = {};
};

// A linear sweep from `startFrequency` to `stopFrequency` over `sweepSeconds`,
// then again from the start, with a continuous phase across the restart.
class ChirpGenerator : public SignalGenerator {
 public:
  ChirpGenerator(double samplingRate, double startFrequency, double stopFrequency,
                 double sweepSeconds, double amplitude);
  void Next(double* out, std::size_t count) override;

 private:
  double m_SamplingRate;
  double m_StartFrequency;
  double m_Slope;  // Hz per sample
  unsigned long long m_SweepSamples;
  unsigned long long m_Position = 0;  // sample inside the sweep
  double m_Phase = 0.0;               // turns, in [0, 1)
  double m_Amplitude;
};

// Gaussian white noise, reproducible from its seed (xorshift64* and Box-Muller,
// the same numbers on every platform and compiler).
class NoiseGenerator : public SignalGenerator {
 public:
  NoiseGenerator(unsigned long long seed, double standardDeviation, double mean = 0.0);
  void Next(double* out, std::size_t count) override;

 private:
  double Uniform();  // in (0, 1)

  unsigned long long m_State;
  double m_StandardDeviation;
  double m_Mean;
  bool m_HasSpare = false;
  double m_Spare = 0.0;
};

// Rectangular pulses: `high` for `widthSeconds` at the start of every
// `periodSeconds`, `low` in between. A tachometer or trigger signal.
class PulseGenerator : public SignalGenerator {
 public:
  PulseGenerator(double samplingRate, double periodSeconds, double widthSeconds, double high,
                 double low = 0.0);
  void Next(double* out, std::size_t count) override;

 private:
  double m_PeriodSamples;
  double m_WidthSamples;
  double m_High;
  double m_Low;
  double m_Position = 0.0;  // samples since the start of the current period
};

// Impacts: every `periodSeconds` a sine of `frequency` starts at `amplitude` and
// decays with `decaySeconds` as its time constant, as a struck structure rings.
class ImpactGenerator : public SignalGenerator {
 public:
  ImpactGenerator(double samplingRate, double periodSeconds, double frequency, double amplitude,
                  double decaySeconds);
  void Next(double* out, std::size_t count) override;

 private:
  unsigned long long m_PeriodSamples;
  unsigned long long m_Position = 0;  // sample since the last impact
  double m_Step;                      // turns per sample
  double m_Decay;                     // envelope factor per sample
  double m_Amplitude;
  double m_Envelope = 0.0;
  double m_Phase = 0.0;
};

// A generator plus noise of its own: the sum of both, sample by sample.
class NoisyGenerator : public SignalGenerator {
 public:
  NoisyGenerator(std::unique_ptr<SignalGenerator> signal, unsigned long long seed,
                 double noiseDeviation, std::size_t maxBlock);
  void Next(double* out, std::size_t count) override;

 private:
  std::unique_ptr<SignalGenerator> m_Signal;
  NoiseGenerator m_Noise;
  std::unique_ptr<double[]> m_Scratch;  // allocated once, `maxBlock` values
  std::size_t m_MaxBlock;
};

// Stored forms. Compact16 keeps value / coefficient rounded to the nearest
// integer, clamped to the 16-bit range; a reader multiplies by the coefficient.
void QuantizeFloat(const double* in, float* out, std::size_t count);
void QuantizeCompact16(const double* in, std::int16_t* out, std::size_t count, double coefficient);

}  // namespace zsff_tools
