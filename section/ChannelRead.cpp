// A channel's reading path: the read position as a part and a place in it, reads
// that walk from part to part and fill the parts that are gone, the conversion to
// physical units, and where a reader stands against a recording that may still
// be moving ahead of it.
#include <zsff/SignalFile.h>

#include <algorithm>
#include <cstring>

#include "section/Channel.h"
#include "section/SampleConversion.h"

namespace zsff {

namespace {

const char16_t kUnableToRead[] = u"CRecordSection::ReadRawSampleBlock unable to read samples";

// Filler of a part that is gone: all bits set reads as "no trigger" in a trigger
// channel, zeros as silence in any other.
unsigned char FillerByte(SignalType_t type) { return type == Trigger ? 0xFF : 0x00; }

// Bytes of raw samples or their values, whichever is wider, converted at a time:
// what a core's second-level cache holds with room to spare.
constexpr std::size_t kConvertPieceBytes = 128 * 1024;

}  // namespace

bool CChannel::SetReadPosition(double seconds) {
  if (!m_TmpRecordFile->IsValid()) UpdateRecordInfo();
  if (!m_SignalFileReader) return false;
  if (m_PartLength == 0.0) return m_SignalFileReader->SetReadPos(seconds);

  ChannelPartState_t& state = m_SignalParts;
  const bool wasOpen = !m_SignalFileReader->FileClosed();
  const double rate = m_SamplingRate;
  const double perPart = rate * m_PartLength;
  const long long sample =
      static_cast<long long>(rate * seconds) + static_cast<long long>(state.OffsetTimeToStop);
  // Parts are counted from 0 while a recording may still drop the first ones, or
  // when the host asked for it.
  const unsigned short base =
      m_TmpRecordFile->Exists() || m_SkipFirstPartNumber ? 0 : state.FirstPart;
  const unsigned short index =
      static_cast<unsigned short>(static_cast<double>(sample) / perPart + 0.001);
  const unsigned short part = static_cast<unsigned short>(index + base);

  const double inPart = static_cast<double>(sample) - static_cast<double>(index) * perPart;
  return SeekInPart(part, static_cast<unsigned long long>(std::max(inPart, 0.0) + 0.001), wasOpen);
}

bool CChannel::SetReadPositionSpl(unsigned long long sample) {
  if (!m_TmpRecordFile->IsValid()) UpdateRecordInfo();
  if (!m_SignalFileReader) return false;
  if (m_PartLength == 0.0) return m_SignalFileReader->SetReadPosSpl(sample);

  ChannelPartState_t& state = m_SignalParts;
  const bool wasOpen = !m_SignalFileReader->FileClosed();
  const float rate = m_SamplingRate;
  const double perPart = static_cast<double>(rate) * m_PartLength;
  // The offset to the retained signal is taken as seconds here, though it counts
  // samples in the time form; recorded positions depend on that difference.
  const long long offset =
      static_cast<long long>(static_cast<float>(state.OffsetTimeToStop) * rate);
  const long long position = offset + static_cast<long long>(sample);
  const unsigned short base =
      m_TmpRecordFile->Exists() || (m_SkipFirstPartNumber && sample != 0) ? 0 : state.FirstPart;
  const unsigned short index =
      static_cast<unsigned short>(static_cast<double>(position) / perPart + 0.00001);
  const unsigned short part = static_cast<unsigned short>(index + base);

  // No floor at 0 here, unlike the time form.
  return SeekInPart(part,
                    static_cast<unsigned long long>(
                        position - static_cast<long long>(static_cast<double>(index) * perPart)),
                    wasOpen);
}

bool CChannel::SeekInPart(unsigned short part, unsigned long long inPart, bool wasOpen) {
  ChannelPartState_t& state = m_SignalParts;
  if (part != state.ReadPart) {
    const unsigned short previous = state.ReadPart;
    if (!OpenPart(PartKindSignal, false, part, true)) {
      if (wasOpen) OpenPart(PartKindSignal, false, previous, true);
      return false;
    }
  }
  state.ReadInPart = inPart;
  if (state.PartMissing) return true;
  return m_SignalFileReader->SetReadPosSpl(state.ReadInPart);
}

double CChannel::ReadPosition() const {
  if (!m_SignalFileReader) return 0.0;
  double position = m_SignalFileReader->GetReadPos();
  if (m_PartLength != 0.0) {
    const int parts = static_cast<int>(m_SignalParts.ReadPart) - m_SignalParts.FirstPart;
    position += parts * m_PartLength;
  }
  return position;
}

unsigned long long CChannel::ReadPositionSpl() const {
  if (!m_SignalFileReader) return 0;
  unsigned long long position = m_SignalFileReader->GetReadPosSpl();
  if (m_PartLength != 0.0) {
    const int parts = static_cast<int>(m_SignalParts.ReadPart) - m_SignalParts.FirstPart;
    position += static_cast<unsigned long long>(
        static_cast<long long>(parts * m_PartLength * static_cast<double>(m_SamplingRate)));
  }
  return position;
}

unsigned long long CChannel::ReadRawBlock(void* buffer, unsigned long long count) {
  if (!m_SignalFileReader) return 0;
  if (m_PartLength == 0.0) {
    const unsigned long long read = m_SignalFileReader->ReadSampleBlock(buffer, count);
    if (read != 0) return read;
    // Nothing more yet in a record still recording, or the end: both are quiet.
    if (m_TmpRecordFile->Exists() || m_SignalFileReader->EndOfReading()) return 0;
    m_LastError = kUnableToRead;
    return 0;
  }

  ChannelPartState_t& state = m_SignalParts;
  // Samples of the current read part: what its file holds, a full part for a part
  // that is gone.
  const auto partLength = [this, &state]() -> unsigned long long {
    if (state.PartMissing) {
      return static_cast<unsigned long long>(static_cast<double>(m_SamplingRate) * m_PartLength);
    }
    const long long stored = m_SignalFileReader->StoredSignalLength();
    if (stored > 0) return static_cast<unsigned long long>(stored);
    const unsigned long long full = SamplesPerPart();
    return full > state.ReadInPart ? full - state.ReadInPart : 0;
  };

  unsigned char* out = static_cast<unsigned char*>(buffer);
  unsigned long long length = partLength();
  unsigned long long wanted = count;
  unsigned long long done = 0;
  while (wanted > 0) {
    unsigned long long remaining = RemainingInPart(PartKindSignal, false);
    if (remaining == 0) {
      if (!OpenPart(PartKindSignal, false, static_cast<unsigned short>(state.ReadPart + 1), true)) {
        return done;
      }
      remaining = RemainingInPart(PartKindSignal, false);
      length = partLength();
      if (length == 0) return done;
    }
    unsigned long long chunk = std::min(remaining, wanted);
    if (state.ReadInPart + chunk > length) {
      // A part shorter than its nominal length is the end of what can be read now,
      // even when later parts exist.
      chunk = length > state.ReadInPart ? length - state.ReadInPart : 0;
      wanted = chunk;
    }
    if (chunk == 0) return done;

    unsigned long long read = chunk;
    if (!state.PartMissing) {
      read = m_SignalFileReader->ReadSampleBlock(out, chunk);
      if (read == 0) {
        if (!m_SignalFileReader->EndOfReading()) {
          m_LastError = kUnableToRead;
          return 0;
        }
        return done;
      }
    } else {
      std::memset(out, FillerByte(m_SignalType), chunk * m_SampleSize);
    }
    AdvancePart(PartKindSignal, false, read);
    out += read * m_SampleSize;
    done += read;
    wanted -= read;
  }
  return done;
}

unsigned long long CChannel::ReadConvertedBlock(void* buffer, unsigned long long count,
                                                SampleReadMode_t mode) {
  const std::size_t inSize = zsff::SampleSize(m_SampleFormat);
  const std::size_t outSize = ReadModeSampleSize(mode);
  if (inSize == 0 || outSize == 0 || inSize != m_SampleSize) {
    // Nothing to convert into, or a sample size at odds with the format: the
    // samples are still read, as the position says, into a buffer of our own.
    if (m_ConvertBuffer.size() < count * m_SampleSize) m_ConvertBuffer.resize(count * m_SampleSize);
    const unsigned long long read = ReadRawBlock(m_ConvertBuffer.data(), count);
    if (read == 0) return 0;
    if (!m_TmpRecordFile->IsValid()) m_TmpRecordFile->Load();
    if (!m_SignalFileReader ||
        !ConvertSamples(m_ConvertBuffer.data(), m_SampleFormat, read, buffer, mode,
                        *m_SignalFileReader, m_TmpRecordFile->RecordInfo())) {
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
  const auto prepare = [this, mode, &conversion]() {
    return m_SignalFileReader &&
           conversion.Prepare(
               m_SampleFormat, mode, *m_SignalFileReader,
               m_SampleFormat == Compact16 ? m_TmpRecordFile->RecordInfo() : TAG_RECORD_INFO());
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
    const unsigned long long read = ReadRawBlock(samples, wanted);
    if (read == 0) {
      // A failure after earlier pieces fails the whole read, as it would have in
      // one piece; an end is what was read so far.
      return m_LastError == kUnableToRead ? 0 : done;
    }
    if (!m_TmpRecordFile->IsValid()) m_TmpRecordFile->Load();
    // The read may have moved to a new part and a new reader; it carries the
    // scaling over from the one before.
    if (!prepare()) return 0;
    conversion.Convert(samples, read, out + done * outSize);
    done += read;
    if (read < wanted || done == count) return done;
  }
}

bool CChannel::EndOfChannel(bool& live, bool& overtaken) const {
  const unsigned short first = m_SignalParts.FirstPart;
  const unsigned short last = m_SignalParts.LastPart;
  const unsigned short read = m_SignalParts.ReadPart;
  // Once the numbers have wrapped, the parts still there run from first up through
  // 65535 and on from 0 to last.
  overtaken = first > last ? read > last && read < first : read < first;

  const bool recording = m_TmpRecordFile->Exists();
  if (recording && read == static_cast<unsigned short>(last + 1)) {
    live = true;
    return true;
  }
  live = recording;
  if (overtaken) return true;
  if (m_PartLength != 0.0 && read != last) return false;
  return m_SignalFileReader ? m_SignalFileReader->EndOfReading() : false;
}

}  // namespace zsff
