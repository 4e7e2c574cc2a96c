// Samples converted to volts, recorded and post-analysis units: every format into
// floats and doubles gives, on each kernel, bit for bit what one multiply and one
// add after the other give, at any length and alignment; the conversion in place
// from the end of its own buffer gives the same; and a long read, converted piece
// by piece as it is read, gives what short reads give, across part boundaries,
// and fails whole when a later piece fails.
#include <gtest/gtest.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSection.h>
#include <zsff/SignalFile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "section/RecordSectionProbe.h"
#include "section/SampleConversion.h"
#include "signal/ReductionKernel.h"
#include "support/FaultInjectingFileAccess.h"
#include "support/SampleFormatOf.h"

using namespace zsff;
using zsff_test::FaultInjectingFileAccess;
using zsff_test::RecordSectionProbe;
using zsff_test::SampleFormatOf;
using zsff_test::TempDir;

namespace {

const SampleReadMode_t kModes[] = {SampleReadVolt,           SampleReadRecorded,
                                   SampleReadPostAnalysis,   SampleReadVoltDouble,
                                   SampleReadRecordedDouble, SampleReadPostAnalysisDouble};

// Values that tell a faithful conversion from a merely close one: signed zeros, a
// NaN with a payload, infinities, subnormals, and integers that a float rounds.
template <typename T>
std::vector<T> Specials();
template <>
std::vector<float> Specials() {
  float payloadNaN;
  const std::uint32_t bits = 0x7FC12345u;
  std::memcpy(&payloadNaN, &bits, sizeof bits);
  return {-0.0f,
          0.0f,
          payloadNaN,
          -std::numeric_limits<float>::infinity(),
          std::numeric_limits<float>::infinity(),
          1e-45f,
          -3.0e38f,
          16777216.0f,
          0.1f};
}
template <>
std::vector<double> Specials() {
  double payloadNaN;
  const std::uint64_t bits = 0x7FF8000000012345ull;
  std::memcpy(&payloadNaN, &bits, sizeof bits);
  return {-0.0,  0.0,     payloadNaN, -std::numeric_limits<double>::infinity(),
          1e300, -1e-300, 0.1,        16777217.0};
}
template <>
std::vector<std::int16_t> Specials() {
  return {-32768, 32767, 0, -1, 1};
}
template <>
std::vector<std::int32_t> Specials() {
  return {std::numeric_limits<std::int32_t>::min(),
          std::numeric_limits<std::int32_t>::max(),
          16777217,
          -16777219,
          0,
          -1};
}

// `count` samples: the special values first, then a ramp of mixed signs.
template <typename T>
std::vector<T> Input(std::size_t count) {
  std::vector<T> values = Specials<T>();
  for (std::size_t i = values.size(); i < count; ++i) {
    values.push_back(static_cast<T>(static_cast<long long>(i * 7919 % 20011) - 10005));
  }
  values.resize(count);
  return values;
}

// The value one sample must come out as. `volatile` makes each operation round
// on its own, whatever the compiler may fuse here.
template <typename In, typename Out>
Out Expected(In x, bool neutral, Out c1, Out o1, Out c2, Out o2) {
  if (neutral) return static_cast<Out>(x);
  volatile Out v = static_cast<Out>(x);
  v = v * c1;
  v = v + o1;
  v = v * c2;
  v = v + o2;
  return v;
}

// A reader that only carries the scaling of a channel with sensitivity 0.5 and
// offset 3, and post-analysis sensitivity 0.25 and offset 1.
std::unique_ptr<CSignalFileReader> Scaling(bool scaled) {
  auto reader = std::make_unique<CSignalFileReader>("", "Part_0", u"", nullptr, nullptr, 0);
  if (scaled) {
    reader->SetRecordedCoeff(0.5f, 3.0f);
    reader->SetPostAnalysisCoeff(0.25f, 1.0f);
  } else {
    // An offset of 0 becomes a volt offset of -0.0, which must still read as neutral.
    reader->SetRecordedCoeff(1.0f, 0.0f);
  }
  return reader;
}

TAG_RECORD_INFO Compaction(bool scaled) {
  TAG_RECORD_INFO info;
  if (scaled) {
    info.UncompactCoeff = 0.25f;
    info.UncompactOffset = -1.0f;
  }
  return info;
}

// The expected bytes of `values` converted in `mode`.
template <typename In, typename Out>
std::vector<unsigned char> ExpectedBytes(const std::vector<In>& values, SampleReadMode_t mode,
                                         const CSignalFileAccess& scaling,
                                         const TAG_RECORD_INFO& info, bool neutral) {
  const bool compact = std::is_same<In, std::int16_t>::value;
  const Out c1 = compact ? info.UncompactCoeff : 1.0f;
  const Out o1 = compact ? info.UncompactOffset : 0.0f;
  Out c2 = 1.0f;
  Out o2 = 0.0f;
  if (mode == SampleReadVolt || mode == SampleReadVoltDouble) {
    c2 = scaling.CoeffToVolt();
    o2 = scaling.OffsetToVolt();
  } else if (mode == SampleReadPostAnalysis || mode == SampleReadPostAnalysisDouble) {
    c2 = scaling.CoeffToPASI();
    o2 = scaling.OffsetToPASI();
  }
  std::vector<unsigned char> bytes(values.size() * sizeof(Out));
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Out y = Expected<In, Out>(values[i], neutral, c1, o1, c2, o2);
    std::memcpy(bytes.data() + i * sizeof(Out), &y, sizeof y);
  }
  return bytes;
}

template <typename In>
std::vector<unsigned char> Bytes(const std::vector<In>& values) {
  std::vector<unsigned char> bytes(values.size() * sizeof(In));
  std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

template <typename In, typename Out>
void CheckOutOfPlace(bool scaled) {
  const auto scaling = Scaling(scaled);
  const TAG_RECORD_INFO info = Compaction(scaled);
  for (SampleReadMode_t mode : kModes) {
    if (IsDoubleReadMode(mode) != std::is_same<Out, double>::value) continue;
    SampleConversion conversion;
    ASSERT_TRUE(conversion.Prepare(SampleFormatOf<In>::kValue, mode, *scaling, info));
    // The recorded mode of an uncompacted format is neutral in either setup.
    const bool neutral = conversion.Neutral();
    const bool recorded = mode == SampleReadRecorded || mode == SampleReadRecordedDouble;
    EXPECT_EQ(neutral, !scaled || (recorded && SampleFormatOf<In>::kValue != Compact16)) << mode;
    // Every length up to past a few vector steps, and one long run; buffers
    // displaced by 1 and 3 bytes from any alignment.
    for (std::size_t count : {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 1001}) {
      for (std::size_t shift : {1, 3}) {
        SCOPED_TRACE(::testing::Message()
                     << "mode " << mode << " count " << count << " shift " << shift);
        const std::vector<In> values = Input<In>(count);
        const std::vector<unsigned char> expected =
            ExpectedBytes<In, Out>(values, mode, *scaling, info, neutral);
        std::vector<unsigned char> in(shift + count * sizeof(In));
        std::memcpy(in.data() + shift, values.data(), count * sizeof(In));
        // One guard byte after the output shows that nothing is written past it.
        std::vector<unsigned char> out(shift + count * sizeof(Out) + 1, 0xA5);
        ASSERT_TRUE(ConvertSamples(in.data() + shift, SampleFormatOf<In>::kValue, count,
                                   out.data() + shift, mode, *scaling, info));
        ASSERT_EQ(std::vector<unsigned char>(out.begin() + shift, out.end() - 1), expected);
        EXPECT_EQ(out.back(), 0xA5);
      }
    }
  }
}

template <typename In, typename Out>
void CheckInPlace(bool scaled) {
  const auto scaling = Scaling(scaled);
  const TAG_RECORD_INFO info = Compaction(scaled);
  const SampleReadMode_t mode =
      std::is_same<Out, double>::value ? SampleReadVoltDouble : SampleReadVolt;
  SampleConversion conversion;
  ASSERT_TRUE(conversion.Prepare(SampleFormatOf<In>::kValue, mode, *scaling, info));
  for (std::size_t count : {1, 6, 35, 1000}) {
    const std::vector<In> values = Input<In>(count);
    const std::vector<unsigned char> expected =
        ExpectedBytes<In, Out>(values, mode, *scaling, info, conversion.Neutral());
    // At once, and in uneven pieces as a read that converts each piece as it comes.
    for (std::size_t piece : {count, std::size_t{1}, std::size_t{7}, std::size_t{13}}) {
      SCOPED_TRACE(::testing::Message() << "count " << count << " piece " << piece);
      std::vector<unsigned char> buffer(count * sizeof(Out));
      const std::size_t rawStart = count * (sizeof(Out) - sizeof(In));
      std::memcpy(buffer.data() + rawStart, values.data(), count * sizeof(In));
      for (std::size_t done = 0; done < count; done += piece) {
        const std::size_t n = std::min(piece, count - done);
        conversion.Convert(buffer.data() + rawStart + done * sizeof(In), n,
                           buffer.data() + done * sizeof(Out));
      }
      ASSERT_EQ(buffer, expected);
    }
  }
}

// Each test of the conversion runs on each kernel the processor has.
class SampleConversionTest : public ::testing::TestWithParam<reduction::ReductionKernel_t> {
 protected:
  void SetUp() override {
    if (!reduction::SelectKernel(GetParam())) GTEST_SKIP() << "the processor lacks this kernel";
  }
  void TearDown() override { reduction::SelectKernel(reduction::ReductionKernelAuto); }
};
INSTANTIATE_TEST_SUITE_P(Kernels, SampleConversionTest,
                         ::testing::Values(reduction::ReductionKernelBaseline,
                                           reduction::ReductionKernelAvx2));

TEST_P(SampleConversionTest, EveryFormatIntoEveryModeMatchesTheArithmeticBitForBit) {
  for (bool scaled : {false, true}) {
    SCOPED_TRACE(scaled ? "scaled" : "neutral");
    CheckOutOfPlace<float, float>(scaled);
    CheckOutOfPlace<double, float>(scaled);
    CheckOutOfPlace<std::int16_t, float>(scaled);
    CheckOutOfPlace<std::int32_t, float>(scaled);
    CheckOutOfPlace<float, double>(scaled);
    CheckOutOfPlace<double, double>(scaled);
    CheckOutOfPlace<std::int16_t, double>(scaled);
    CheckOutOfPlace<std::int32_t, double>(scaled);
  }
  // Nothing is written for a mode or a format outside the known ones.
  const auto scaling = Scaling(true);
  float in[2] = {1.0f, 2.0f};
  float out[2] = {7.0f, 7.0f};
  EXPECT_FALSE(ConvertSamples(in, SIFloat, 2, out, static_cast<SampleReadMode_t>(6), *scaling,
                              TAG_RECORD_INFO()));
  EXPECT_FALSE(ConvertSamples(in, static_cast<SampleFormat_t>(4), 2, out, SampleReadVolt, *scaling,
                              TAG_RECORD_INFO()));
  EXPECT_EQ(out[0], 7.0f);
  EXPECT_EQ(out[1], 7.0f);
  EXPECT_EQ(ReadModeSampleSize(static_cast<SampleReadMode_t>(6)), 0u);
}

TEST_P(SampleConversionTest, ConvertsInPlaceFromTheEndOfItsOwnBuffer) {
  for (bool scaled : {false, true}) {
    SCOPED_TRACE(scaled ? "scaled" : "neutral");
    CheckInPlace<float, float>(scaled);
    CheckInPlace<std::int16_t, float>(scaled);
    CheckInPlace<std::int32_t, float>(scaled);
    CheckInPlace<float, double>(scaled);
    CheckInPlace<double, double>(scaled);
    CheckInPlace<std::int16_t, double>(scaled);
    CheckInPlace<std::int32_t, double>(scaled);
  }
}

// --- Through a section ------------------------------------------------------------------

const CRecordId kRecord(3000, 1);
const CChannelID kChannel(1, 0, 77);
// Parts of 64 s at 625 Hz hold 40000 samples: more than a converted piece of any
// format, so that long reads run through several pieces and cross parts.
constexpr float kRate = 625.0f;
constexpr unsigned long long kTotal = 100003;

template <typename T>
std::vector<T> Recorded() {
  std::vector<T> samples(kTotal);
  for (unsigned long long i = 0; i < kTotal; ++i) {
    // Distinct neighbours, so that a sample read twice or skipped shows.
    samples[i] = static_cast<T>(static_cast<long long>(i % 30011) - 15005);
  }
  return samples;
}

// A finished record of one channel of format T with sensitivity 0.5, offset 3 and,
// for 16-bit samples, an uncompaction of 0.25 and -1.
template <typename T>
void Record(zsff_test::FakeTree& tree, const TempDir& dir, CAbstractFileAccess* store) {
  auto section = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                          CAbstractRecordSection::OpenCreate, store);
  MetaDataContainer metaData;
  metaData.AddMetadata("SamplingRate", kRate);
  CMetaDataChannelWriter(metaData).Format(SampleFormatOf<T>::kValue == SIFloat     ? "SIFloat"
                                          : SampleFormatOf<T>::kValue == SIDouble  ? "SIDouble"
                                          : SampleFormatOf<T>::kValue == Compact16 ? "Compact16"
                                                                                   : "Raw32");
  metaData.AddMetadata("Sensitivity", 0.5f);
  metaData.AddMetadata("Offset", 3.0f);
  TAG_RECORD_INFO info = Compaction(true);
  info.AbsoluteDate = 132000000000000000LL;
  ASSERT_TRUE(section->AddChannel(kChannel, metaData));
  ASSERT_TRUE(section->ArmRecord(0.0, PartLengthShort, false));
  ASSERT_TRUE(section->StartRecord({{kChannel, info}}));
  const std::vector<T> samples = Recorded<T>();
  ASSERT_TRUE(section->WriteSampleBlock(kChannel, samples.data(), kTotal, true));
  ASSERT_TRUE(section->StopRecord());
}

std::unique_ptr<CRecordSection> OpenForReading(zsff_test::FakeTree& tree, const TempDir& dir,
                                               CAbstractFileAccess* store) {
  return RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                  CAbstractRecordSection::OpenRead, store, false, 2);
}

// Everything from `from` on, converted in reads of `block` samples.
std::vector<unsigned char> ReadConverted(CRecordSection& section, SampleReadMode_t mode,
                                         unsigned long long from, unsigned long long block) {
  const std::size_t size = ReadModeSampleSize(mode);
  std::vector<unsigned char> all;
  std::vector<unsigned char> buffer(block * size);
  EXPECT_TRUE(section.SetReadPosSpl(kChannel, from));
  for (int guard = 0; guard < 1000; ++guard) {
    const unsigned long long read = section.ReadSampleBlock(kChannel, buffer.data(), block, mode);
    if (read == 0) break;
    all.insert(all.end(), buffer.begin(), buffer.begin() + read * size);
  }
  return all;
}

template <typename T>
class ConvertedRead : public ::testing::Test {};
using SampleTypes = ::testing::Types<float, double, std::int16_t, std::int32_t>;
TYPED_TEST_SUITE(ConvertedRead, SampleTypes);

TYPED_TEST(ConvertedRead, LongReadsGiveWhatShortReadsGiveAcrossPiecesAndParts) {
  using T = TypeParam;
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  zsff_test::FakeTree tree(store, dir.Wide());
  Record<T>(tree, dir, store.get());
  auto section = OpenForReading(tree, dir, store.get());

  const std::vector<T> samples = Recorded<T>();
  const bool compact = SampleFormatOf<T>::kValue == Compact16;
  for (SampleReadMode_t mode : kModes) {
    // Short reads, each within one piece, against the whole rest in one read
    // from an odd start, and against reads of a little over one part.
    const std::vector<unsigned char> reference = ReadConverted(*section, mode, 1, 997);
    ASSERT_EQ(reference.size(), (kTotal - 1) * ReadModeSampleSize(mode)) << mode;
    EXPECT_EQ(ReadConverted(*section, mode, 1, kTotal + 10), reference) << mode;
    EXPECT_EQ(ReadConverted(*section, mode, 1, 40001), reference) << mode;

    // And the values are the scaled samples.
    const double c1 = compact ? 0.25 : 1.0;
    const double o1 = compact ? -1.0 : 0.0;
    const bool volts = mode == SampleReadVolt || mode == SampleReadVoltDouble;
    const bool recorded = mode == SampleReadRecorded || mode == SampleReadRecordedDouble;
    // Post-analysis without settings of its own: a coefficient of 0.5 and an
    // offset of 2b / a - b, here 9.
    const double c2 = recorded ? 1.0 : 0.5;
    const double o2 = recorded ? 0.0 : volts ? -3.0 : 9.0;
    for (unsigned long long i = 0; i < kTotal - 1; ++i) {
      double got;
      if (IsDoubleReadMode(mode)) {
        std::memcpy(&got, reference.data() + i * 8, 8);
      } else {
        float value;
        std::memcpy(&value, reference.data() + i * 4, 4);
        got = value;
      }
      const double expected = (static_cast<double>(samples[i + 1]) * c1 + o1) * c2 + o2;
      ASSERT_NEAR(got, expected, IsDoubleReadMode(mode) ? 1e-9 : 1e-3)
          << "mode " << mode << " sample " << i + 1;
    }
  }
}

TEST(ConvertedReadFaults, AFailureInALaterPieceFailsTheWholeRead) {
  TempDir dir;
  auto store = std::make_shared<FaultInjectingFileAccess>(std::make_shared<CLocalFileAccess>());
  zsff_test::FakeTree tree(store, dir.Wide());
  Record<float>(tree, dir, store.get());
  auto section = OpenForReading(tree, dir, store.get());

  std::vector<float> buffer(kTotal);
  // A first read loads what the channel needs, and leaves the next ones to the samples.
  ASSERT_EQ(section->ReadSampleBlock(kChannel, buffer.data(), 10, SampleReadVolt), 10u);
  const float before = buffer[0];
  ASSERT_TRUE(section->SetReadPosSpl(kChannel, 0));
  store->Reset();
  store->FailAt(FaultInjectingFileAccess::Read, 2);
  // Within one part, and long enough for several pieces: the first comes, the
  // second fails, and the read gives nothing.
  EXPECT_EQ(section->ReadSampleBlock(kChannel, buffer.data(), 39000, SampleReadVolt), 0u);
  const std::u16string error = section->LastErrorString();
  EXPECT_EQ(std::string(error.begin(), error.end()),
            "CRecordSection::ReadRawSampleBlock unable to read samples");
  // The fault was on the samples, not on anything before them.
  EXPECT_EQ(store->Calls(FaultInjectingFileAccess::Read), 2u);
  ASSERT_TRUE(section->SetReadPosSpl(kChannel, 0));
  ASSERT_EQ(section->ReadSampleBlock(kChannel, buffer.data(), 10, SampleReadVolt), 10u);
  EXPECT_EQ(buffer[0], before);
}

}  // namespace
