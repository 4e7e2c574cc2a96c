// Min/max views of a channel across its parts. A span of the record is cut along
// the parts; each piece is planned on its part's pyramid reader and served from a
// level file, as blanks for a part that is gone, or, when no level is coarse
// enough, from the part's raw samples, read through the part reader, which is put
// back where it stood. The pieces are laid end to end and scaled only when the
// caller fetches them.
//
// Pyramid readers of parts visited before are parked with what they learnt of
// their level files, so that a view sweeping many parts looks none of them up
// again. One request at a time. Borrows the channel's layout, both part ranges,
// both read cursors, the part reader and the error text.
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/CompressedSignal.h>

#include <memory>
#include <string>
#include <vector>

namespace zsff {

class CChannelPartReader;
class CCompressedSignalFileReader;
struct ChannelLayout;
struct ChannelPartRange;
struct ChannelReadCursor;
struct CompressedSignalPlan_t;

class CChannelPyramidView {
 public:
  CChannelPyramidView(ChannelLayout& layout, ChannelPartRange& signalParts,
                      ChannelPartRange& pyramidParts, ChannelReadCursor& cursor,
                      ChannelReadCursor& signalCursor, CChannelPartReader& reader,
                      std::u16string& lastError);
  ~CChannelPyramidView();
  CChannelPyramidView(const CChannelPyramidView&) = delete;
  CChannelPyramidView& operator=(const CChannelPyramidView&) = delete;

  // Makes the pyramid reader of `part`.
  void Begin(unsigned short part);

  // Prepares a view of [start, stop] seconds in `points` points, as
  // CChannel::RequestCompressedSignal tells; `duration` is the record's length as
  // its owner gave it (0: measured).
  bool Request(float start, float stop, unsigned long long points, bool absolute, double duration);
  // One piece: [start, stop] seconds of `part`, planned into `plan` and started.
  bool RequestPart(unsigned short part, float start, float stop, unsigned long long points,
                   CompressedSignalPlan_t& plan);
  // Delivers the prepared view into `buffer`, as CChannel::GetCompressedSignal tells.
  CompressStatus_t Get(void* buffer, SampleReadMode_t mode);
  const CompressedSignalInfo_t& Info() const { return m_Info; }

 private:
  // Makes `part` the pyramid part being read, or looks again whether the part at
  // hand is readable; never fails.
  void OpenPart(unsigned short part);
  // The pyramid reader of `part` as an earlier visit left it, or a new one. A
  // reader of a part gone from the record is not taken back.
  std::unique_ptr<CCompressedSignalFileReader> TakeReader(unsigned short part);
  // The raw-sample piece of a request.
  bool RequestFromSamples(unsigned short part, float start, float stop, unsigned long long points);

  ChannelLayout& m_Layout;
  ChannelPartRange& m_SignalParts;
  ChannelPartRange& m_PyramidParts;
  ChannelReadCursor& m_Cursor;
  ChannelReadCursor& m_SignalCursor;
  CChannelPartReader& m_Reader;
  std::u16string& m_LastError;
  std::unique_ptr<CCompressedSignalFileReader> m_Current;  // of the part at hand
  // Readers of parts visited before, oldest first.
  std::vector<std::unique_ptr<CCompressedSignalFileReader>> m_Parked;
  std::vector<unsigned char> m_Buffer;  // the prepared view
  CompressedSignalInfo_t m_Info;
};

}  // namespace zsff
