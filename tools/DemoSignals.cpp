// Generators of the demo signals. Phases are carried in turns and wrapped: a
// phase in radians that grows for hours loses the low bits of its sine. State
// changes only sample by sample, so a generator gives the same value at sample
// n whatever the blocks that led there.
#include "DemoSignals.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zsff_tools {

namespace {

constexpr double kTwoPi = 6.283185307179586476925286766559;

}  // namespace

// ---- Oscillator ---------------------------------------------------------------------

double Oscillator::Wrap(double turns) { return turns - std::floor(turns); }

Oscillator::Oscillator(double step, double phase)
    : m_Phase(Wrap(phase)), m_AnchorStep(Wrap(Wrap(step) * kAnchor)) {
  m_StepCos = std::cos(kTwoPi * Wrap(step));
  m_StepSin = std::sin(kTwoPi * Wrap(step));
  Anchor();
}

void Oscillator::Anchor() {
  m_Cos = std::cos(kTwoPi * m_Phase);
  m_Sin = std::sin(kTwoPi * m_Phase);
}

// ---- ToneGenerator ------------------------------------------------------------------

ToneGenerator::ToneGenerator(double samplingRate, double offset)
    : m_SamplingRate(samplingRate), m_Offset(offset) {}

bool ToneGenerator::AddTone(double frequency, double amplitude, double phase) {
  if (m_Count == kMaxTones) return false;
  m_Tones[m_Count] = Oscillator(frequency / m_SamplingRate, phase);
  m_Amplitude[m_Count] = amplitude;
  ++m_Count;
  return true;
}

void ToneGenerator::Next(double* out, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    double value = m_Offset;
    for (int t = 0; t < m_Count; ++t) value += m_Amplitude[t] * m_Tones[t].Next();
    out[i] = value;
  }
}

// ---- ChirpGenerator -----------------------------------------------------------------

ChirpGenerator::ChirpGenerator(double samplingRate, double startFrequency, double stopFrequency,
                               double sweepSeconds, double amplitude)
    : m_SamplingRate(samplingRate),
      m_StartFrequency(startFrequency),
      m_SweepSamples(std::max(1ull, static_cast<unsigned long long>(sweepSeconds * samplingRate))),
      m_Amplitude(amplitude) {
  m_Slope = (stopFrequency - startFrequency) / static_cast<double>(m_SweepSamples);
  m_SlopeCos = std::cos(kTwoPi * m_Slope / m_SamplingRate);
  m_SlopeSin = std::sin(kTwoPi * m_Slope / m_SamplingRate);
  Anchor();
}

void ChirpGenerator::Anchor() {
  m_Cos = std::cos(kTwoPi * m_Phase);
  m_Sin = std::sin(kTwoPi * m_Phase);
  const double step =
      (m_StartFrequency + m_Slope * static_cast<double>(m_Position)) / m_SamplingRate;
  m_StepCos = std::cos(kTwoPi * step);
  m_StepSin = std::sin(kTwoPi * step);
  m_Count = 0;
}

void ChirpGenerator::Next(double* out, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    out[i] = m_Amplitude * m_Sin;
    // The frequency is recomputed from the position rather than accumulated, so
    // that it doesn't drift over a long sweep.
    const double frequency = m_StartFrequency + m_Slope * static_cast<double>(m_Position);
    m_Phase = Oscillator::Wrap(m_Phase + frequency / m_SamplingRate);
    if (++m_Position == m_SweepSamples) m_Position = 0;
    if (++m_Count == Oscillator::kAnchor || m_Position == 0) {
      // Also at the restart of the sweep, where the frequency jumps back.
      Anchor();
    } else {
      const double c = m_Cos * m_StepCos - m_Sin * m_StepSin;
      m_Sin = m_Cos * m_StepSin + m_Sin * m_StepCos;
      m_Cos = c;
      const double sc = m_StepCos * m_SlopeCos - m_StepSin * m_SlopeSin;
      m_StepSin = m_StepCos * m_SlopeSin + m_StepSin * m_SlopeCos;
      m_StepCos = sc;
    }
  }
}

// ---- NoiseGenerator -----------------------------------------------------------------

NoiseGenerator::NoiseGenerator(unsigned long long seed, double standardDeviation, double mean)
    // xorshift must not start from 0: it would stay there.
    : m_State(seed != 0 ? seed : 0x9E3779B97F4A7C15ull),
      m_StandardDeviation(standardDeviation),
      m_Mean(mean) {}

double NoiseGenerator::Uniform() {
  m_State ^= m_State >> 12;
  m_State ^= m_State << 25;
  m_State ^= m_State >> 27;
  const unsigned long long bits = (m_State * 0x2545F4914F6CDD1Dull) >> 11;  // 53 bits
  // Half a step up keeps 0 out, which the logarithm below can't take.
  return (static_cast<double>(bits) + 0.5) * (1.0 / 9007199254740992.0);
}

void NoiseGenerator::Next(double* out, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    double gauss;
    if (m_HasSpare) {
      gauss = m_Spare;
      m_HasSpare = false;
    } else {
      // Marsaglia's polar form of Box-Muller: a point in the unit disc gives two
      // normal values for one logarithm and no sine.
      double u;
      double v;
      double r2;
      do {
        u = 2.0 * Uniform() - 1.0;
        v = 2.0 * Uniform() - 1.0;
        r2 = u * u + v * v;
      } while (r2 >= 1.0 || r2 == 0.0);
      const double scale = std::sqrt(-2.0 * std::log(r2) / r2);
      gauss = u * scale;
      m_Spare = v * scale;
      m_HasSpare = true;
    }
    out[i] = m_Mean + m_StandardDeviation * gauss;
  }
}

// ---- PulseGenerator -----------------------------------------------------------------

PulseGenerator::PulseGenerator(double samplingRate, double periodSeconds, double widthSeconds,
                               double high, double low)
    : m_PeriodSamples(std::max(1.0, periodSeconds * samplingRate)),
      m_WidthSamples(widthSeconds * samplingRate),
      m_High(high),
      m_Low(low) {}

void PulseGenerator::Next(double* out, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    out[i] = m_Position < m_WidthSamples ? m_High : m_Low;
    m_Position += 1.0;
    // A period that isn't a whole number of samples keeps its fraction, so the
    // pulses don't drift against the clock.
    if (m_Position >= m_PeriodSamples) m_Position -= m_PeriodSamples;
  }
}

// ---- ImpactGenerator ----------------------------------------------------------------

ImpactGenerator::ImpactGenerator(double samplingRate, double periodSeconds, double frequency,
                                 double amplitude, double decaySeconds)
    : m_PeriodSamples(
          std::max(1ull, static_cast<unsigned long long>(periodSeconds * samplingRate))),
      m_Step(frequency / samplingRate),
      m_Decay(std::exp(-1.0 / (decaySeconds * samplingRate))),
      m_Amplitude(amplitude) {}

void ImpactGenerator::Next(double* out, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (m_Position == 0) {
      m_Envelope = m_Amplitude;
      m_Ring = Oscillator(m_Step, 0.0);
    }
    out[i] = m_Envelope * m_Ring.Next();
    m_Envelope *= m_Decay;
    if (++m_Position == m_PeriodSamples) m_Position = 0;
  }
}

// ---- NoisyGenerator -----------------------------------------------------------------

NoisyGenerator::NoisyGenerator(std::unique_ptr<SignalGenerator> signal, unsigned long long seed,
                               double noiseDeviation, std::size_t maxBlock)
    : m_Signal(std::move(signal)),
      m_Noise(seed, noiseDeviation),
      m_Scratch(new double[std::max<std::size_t>(1, maxBlock)]),
      m_MaxBlock(std::max<std::size_t>(1, maxBlock)) {}

void NoisyGenerator::Next(double* out, std::size_t count) {
  while (count > 0) {
    const std::size_t n = std::min(count, m_MaxBlock);
    m_Signal->Next(out, n);
    m_Noise.Next(m_Scratch.get(), n);
    for (std::size_t i = 0; i < n; ++i) out[i] += m_Scratch[i];
    out += n;
    count -= n;
  }
}

// ---- Stored forms -------------------------------------------------------------------

void QuantizeFloat(const double* in, float* out, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<float>(in[i]);
}

void QuantizeCompact16(const double* in, std::int16_t* out, std::size_t count, double coefficient) {
  const double scale = 1.0 / coefficient;
  constexpr double kLow = std::numeric_limits<std::int16_t>::min();
  constexpr double kHigh = std::numeric_limits<std::int16_t>::max();
  for (std::size_t i = 0; i < count; ++i) {
    const double steps = std::nearbyint(in[i] * scale);
    out[i] = static_cast<std::int16_t>(std::clamp(steps, kLow, kHigh));
  }
}

}  // namespace zsff_tools
