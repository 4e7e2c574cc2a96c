// The part reader's converted reads: raw samples read across parts and turned
// into floats or doubles as a read mode asks, piece by piece while they are still
// in the cache.
#include <zsff/SignalFile.h>

#include <algorithm>

#include "section/ChannelLayout.h"
#include "section/ChannelPartReader.h"
#include "section/SampleConversion.h"

namespace zsff {

namespace {

// Bytes of raw samples or their values, whichever is wider, converted at a time:
// what a core's second-level cache holds with room to spare.
constexpr std::size_t kConvertPieceBytes = 128 * 1024;

}  // namespace

unsigned long long CChannelPartReader::ReadConvertedBlock(void* buffer, unsigned long long count,
                                                          SampleReadMode_t mode, bool recording) {
  const SampleFormat_t format = m_Layout.SampleFormat;
  const unsigned long long sampleSize = m_Layout.SampleSize;
  CTmpRecordFile& tmp = *m_Layout.TmpRecordFile;
  const std::size_t inSize = zsff::SampleSize(format);
  const std::size_t outSize = ReadModeSampleSize(mode);
  if (inSize == 0 || outSize == 0 || inSize != sampleSize) {
    // Nothing to convert into, or a sample size at odds with the format: the
    // samples are still read, as the position says, into a buffer of our own.
    if (m_ConvertBuffer.size() < count * sampleSize) m_ConvertBuffer.resize(count * sampleSize);
    const unsigned long long read = ReadRawBlock(m_ConvertBuffer.data(), count, recording);
    if (read == 0) return 0;
    if (!tmp.IsValid()) tmp.Load();
    if (!m_File || !ConvertSamples(m_ConvertBuffer.data(), format, read, buffer, mode, *m_File,
                                   tmp.RecordInfo())) {
      return 0;
    }
    return read;
  }

  // Raw samples go straight into the caller's buffer, at its end, each just ahead
  // of where its values go, and are converted in place front to back (see
  // SampleConversion::Convert); only 64-bit samples read as 32-bit floats, which
  // don't fit, pass through a buffer of our own.
  unsigned char* const out = static_cast<unsigned char*>(buffer);
  const bool staged = inSize > outSize;
  unsigned char* const raw = staged ? nullptr : out + count * (outSize - inSize);

  // Only 16-bit samples take the record information into the conversion; for the
  // others it isn't looked up, which may go to the disk.
  SampleConversion conversion;
  const auto prepare = [this, format, mode, &tmp, &conversion]() {
    return m_File && conversion.Prepare(format, mode, *m_File,
                                        format == Compact16 ? tmp.RecordInfo() : TAG_RECORD_INFO());
  };
  // A scaled read is converted piece by piece, each right after it was read and
  // still in the cache: a second pass over a large buffer would go at the speed
  // of memory. A read that only copies is one piece, read in place.
  const bool copies = inSize == outSize && prepare() && conversion.Neutral();
  const unsigned long long piece =
      copies ? count
             : std::max<unsigned long long>(kConvertPieceBytes / std::max(inSize, outSize), 1);
  if (staged && m_ConvertBuffer.size() < std::min(piece, count) * inSize) {
    m_ConvertBuffer.resize(std::min(piece, count) * inSize);
  }

  unsigned long long done = 0;
  for (;;) {
    const unsigned long long wanted = std::min(piece, count - done);
    unsigned char* const samples = staged ? m_ConvertBuffer.data() : raw + done * inSize;
    const unsigned long long read = ReadRawBlock(samples, wanted, recording);
    if (read == 0) {
      // A failure after earlier pieces fails the whole read, as it would have in
      // one piece; an end is what was read so far.
      return m_LastError == kUnableToRead ? 0 : done;
    }
    if (!tmp.IsValid()) tmp.Load();
    // The read may have moved to a new part and a new reader; it carries the
    // scaling over from the one before.
    if (!prepare()) return 0;
    conversion.Convert(samples, read, out + done * outSize);
    done += read;
    if (read < wanted || done == count) return done;
  }
}

}  // namespace zsff
