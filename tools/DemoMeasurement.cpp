// The demo analyzer's channels and the plan of its records.
#include "DemoMeasurement.h"

#include <zsff/ChannelMetaData.h>

#include <cmath>
#include <cstdint>

namespace zsff_tools {

DemoChannel::DemoChannel(zsff::CChannelID id, zsff::MetaDataContainer metaData,
                         zsff::SampleFormat_t format, double coefficient,
                         std::unique_ptr<SignalGenerator> generator, std::size_t maxBlock)
    : m_Id(id),
      m_MetaData(std::move(metaData)),
      m_Format(format),
      m_Coefficient(coefficient),
      m_Generator(std::move(generator)),
      m_MaxBlock(maxBlock),
      m_Values(new double[maxBlock]),
      m_Stored(new unsigned char[maxBlock * sizeof(double)]) {}

std::size_t DemoChannel::SampleSize() const {
  switch (m_Format) {
    case zsff::SIDouble:
      return 8;
    case zsff::Compact16:
      return 2;
    default:
      return 4;
  }
}

const void* DemoChannel::NextBlock(std::size_t count) {
  if (count > m_MaxBlock) count = m_MaxBlock;
  m_Generator->Next(m_Values.get(), count);
  void* stored = m_Stored.get();
  switch (m_Format) {
    case zsff::SIDouble:
      // The buffer was allocated by new[] for doubles' worth of bytes and is
      // suitably aligned for any fundamental type.
      std::copy(m_Values.get(), m_Values.get() + count, static_cast<double*>(stored));
      break;
    case zsff::Compact16:
      QuantizeCompact16(m_Values.get(), static_cast<std::int16_t*>(stored), count, m_Coefficient);
      break;
    default:
      QuantizeFloat(m_Values.get(), static_cast<float*>(stored), count);
      break;
  }
  return stored;
}

namespace {

struct ChannelText {
  const char16_t* Name;
  const char* Format;
  const char* Type;
  const char16_t* Quantity;
  const char16_t* Unit;
  float Sensitivity;  // volts per unit, as a transducer's data sheet gives it
  float RangePeak;    // in the channel's unit
};

zsff::MetaDataContainer MakeMetaData(unsigned short number, const ChannelText& text,
                                     double coefficient) {
  zsff::MetaDataContainer metaData;
  zsff::CMetaDataChannelWriter writer(metaData);
  writer.Name(text.Name);
  writer.Type(text.Type);
  writer.Format(text.Format);
  writer.Channel(static_cast<long>(number));
  writer.Coupling(1L);  // DC
  writer.PhysicalQuantity(text.Quantity);
  writer.Unit(text.Unit);
  writer.SamplingRate(static_cast<float>(kDemoSamplingRate));
  writer.Sensitivity(text.Sensitivity);
  writer.Offset(0.0f);
  writer.RangePeak(text.RangePeak);
  writer.TimeStep(1);
  writer.UncompCoeff(static_cast<float>(coefficient));
  writer.UncompOffset(0.0f);
  writer.DeviceName(u"zsff demo analyzer");
  writer.DeviceType(u"DEMO-8");
  writer.DeviceSN(u"4711");
  writer.DeviceVersion("1.0");
  return metaData;
}

}  // namespace

std::vector<DemoChannel> MakeDemoChannels(std::size_t maxBlock) {
  const double rate = kDemoSamplingRate;
  std::vector<DemoChannel> channels;
  unsigned short number = 0;
  auto add = [&](const ChannelText& text, zsff::SampleFormat_t format, double coefficient,
                 std::unique_ptr<SignalGenerator> generator) {
    ++number;
    const zsff::CChannelID id(number, kDemoAnalyzerIndex, kDemoDeviceSerial);
    channels.emplace_back(id, MakeMetaData(number, text, coefficient), format, coefficient,
                          std::move(generator), maxBlock);
  };

  auto sine = std::make_unique<ToneGenerator>(rate);
  sine->AddTone(1000.0, 1.0);
  add({u"Sine 1 kHz", "SIFloat", "Dynamic", u"Voltage", u"V", 1.0f, 10.0f}, zsff::SIFloat, 1.0,
      std::move(sine));

  // A machine at 50 Hz with its odd harmonics and a gear mesh.
  auto harmonics = std::make_unique<ToneGenerator>(rate);
  harmonics->AddTone(50.0, 4.0);
  harmonics->AddTone(150.0, 1.5, 0.25);
  harmonics->AddTone(250.0, 0.8, 0.5);
  harmonics->AddTone(2200.0, 0.3);
  add({u"Harmonics", "SIFloat", "Dynamic", u"Acceleration", u"m/s²", 0.0102f, 50.0f}, zsff::SIFloat,
      1.0, std::move(harmonics));

  add({u"Chirp 20 Hz-20 kHz", "SIFloat", "Dynamic", u"Sound pressure", u"Pa", 0.05f, 20.0f},
      zsff::SIFloat, 1.0, std::make_unique<ChirpGenerator>(rate, 20.0, 20000.0, 10.0, 2.0));

  // Compact16 over +-10 V.
  add({u"Noise", "Compact16", "Dynamic", u"Voltage", u"V", 1.0f, 10.0f}, zsff::Compact16,
      10.0 / 32767.0, std::make_unique<NoiseGenerator>(0x5EED0001ull, 1.0));

  auto rotor = std::make_unique<ToneGenerator>(rate);
  rotor->AddTone(120.0, 20.0);
  rotor->AddTone(360.0, 5.0, 0.1);
  add({u"Vibration", "Compact16", "Dynamic", u"Acceleration", u"m/s²", 0.0102f, 65.0f},
      zsff::Compact16, 0.002,
      std::make_unique<NoisyGenerator>(std::move(rotor), 0x5EED0002ull, 1.0, maxBlock));

  add({u"Impacts", "SIDouble", "Dynamic", u"Force", u"N", 0.00225f, 500.0f}, zsff::SIDouble, 1.0,
      std::make_unique<ImpactGenerator>(rate, 0.5, 800.0, 200.0, 0.02));

  // A strong tone with a faint one beside it, which only a double keeps apart.
  auto reference = std::make_unique<ToneGenerator>(rate);
  reference->AddTone(100.0, 1.0);
  reference->AddTone(10000.0, 1e-7);
  add({u"Reference", "SIDouble", "Dynamic", u"Voltage", u"V", 1.0f, 2.0f}, zsff::SIDouble, 1.0,
      std::move(reference));

  // One pulse per revolution at 1500 rpm. A trigger channel is on from 0 V up,
  // so it rests below 0.
  add({u"Trigger", "SIFloat", "Trigger", u"Voltage", u"V", 1.0f, 10.0f}, zsff::SIFloat, 1.0,
      std::make_unique<PulseGenerator>(rate, 60.0 / 1500.0, 0.0005, 5.0, -5.0));
  return channels;
}

std::vector<RecordPlan> PlanRecords(double seconds, int records, double samplingRate) {
  std::vector<RecordPlan> plan;
  if (records < 1 || !(seconds > 0.0)) return plan;
  const unsigned long long total =
      static_cast<unsigned long long>(std::llround(seconds * samplingRate));
  plan.resize(static_cast<std::size_t>(records));
  if (records == 1) {
    plan[0].Samples = total;
    return plan;
  }
  plan[0].Samples = static_cast<unsigned long long>(static_cast<double>(total) * 0.6);
  const unsigned long long rest = total - plan[0].Samples;
  const unsigned long long others = static_cast<unsigned long long>(records - 1);
  for (unsigned long long i = 0; i < others; ++i) {
    // The remainder goes to the first records, one sample each.
    plan[i + 1].Samples = rest / others + (i < rest % others ? 1 : 0);
  }
  RecordPlan& ring = plan.back();
  ring.RingSeconds = static_cast<double>(ring.Samples) / samplingRate / 2.0;
  return plan;
}

}  // namespace zsff_tools
