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

// A sine by complex rotation: four multiplications a sample instead of a call
// to sin, which would cost more than the library's whole write path. Every
// kAnchor samples the rotation restarts from the exact phase, kept in turns and
// wrapped, so rounding can't build up over hours. The anchors fall on sample
// counts, never on block edges.
class Oscillator {
 public:
  static constexpr unsigned kAnchor = 1024;
  Oscillator() = default;
  // `step` and `phase` in turns (per sample, and at the first sample).
  Oscillator(double step, double phase);
  // sin(2 pi phase) of this sample; then one sample on.
  double Next() {
    const double value = m_Sin;
    if (++m_Count == kAnchor) {
      m_Count = 0;
      m_Phase = Wrap(m_Phase + m_AnchorStep);
      Anchor();
    } else {
      const double c = m_Cos * m_StepCos - m_Sin * m_StepSin;
      m_Sin = m_Cos * m_StepSin + m_Sin * m_StepCos;
      m_Cos = c;
    }
    return value;
  }
  // Turns modulo 1.
  static double Wrap(double turns);

 private:
  void Anchor();

  double m_Phase = 0.0;       // turns at the last anchor, in [0, 1)
  double m_AnchorStep = 0.0;  // turns from one anchor to the next, wrapped
  double m_StepCos = 1.0;
  double m_StepSin = 0.0;
  double m_Cos = 1.0;
  double m_Sin = 0.0;
  unsigned m_Count = 0;  // samples since the last anchor
};

// A sum of up to four sines, each with its own frequency (Hz), amplitude and
// phase (in turns, 0..1).
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
  Oscillator m_Tones[kMaxTones];
  double m_Amplitude[kMaxTones] = {};
};

// A linear sweep from `startFrequency` to `stopFrequency` over `sweepSeconds`,
// then again from the start, with a continuous phase across the restart. The
// phase is summed in turns sample by sample; the sine comes from a rotation
// that is re-anchored on that phase as the Oscillator's is.
class ChirpGenerator : public SignalGenerator {
 public:
  ChirpGenerator(double samplingRate, double startFrequency, double stopFrequency,
                 double sweepSeconds, double amplitude);
  void Next(double* out, std::size_t count) override;

 private:
  void Anchor();

  double m_SamplingRate;
  double m_StartFrequency;
  double m_Slope;  // Hz per sample
  unsigned long long m_SweepSamples;
  unsigned long long m_Position = 0;  // sample inside the sweep
  double m_Phase = 0.0;               // turns, in [0, 1)
  double m_Amplitude;
  // The rotation: the phasor of this sample, the rotation to the next one, and
  // how that rotation turns as the frequency rises.
  double m_Cos = 1.0, m_Sin = 0.0;
  double m_StepCos = 1.0, m_StepSin = 0.0;
  double m_SlopeCos = 1.0, m_SlopeSin = 0.0;
  unsigned m_Count = 0;  // samples since the last anchor
};

// Gaussian white noise, reproducible from its seed (xorshift64* and Marsaglia's polar method,
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
  Oscillator m_Ring;
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
