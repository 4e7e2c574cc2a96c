// The section's side of compressed (min/max) requests: find the channel, mark
// the section as reading for the length of the request, and pass the channel's
// failure text on. The work itself is the channel's (ChannelCompressed.cpp).
#include <zsff/RecordSection.h>

#include "section/Channel.h"

namespace zsff {

namespace {

std::u16string ChannelNotFound(const CChannelID& id) {
  return u"CRecordSection::RequestCompressedSignal() Error channel not found: " + id.ToFileName();
}

}  // namespace

bool CRecordSection::RequestCompressedSignal(const CChannelID& id, float start, float stop,
                                             unsigned long long points, bool fromPartZero) {
  CChannel* channel = FindChannel(id);
  if (channel == nullptr) {
    m_LastError = ChannelNotFound(id);
    return false;
  }
  // A request reads like a reader but leaves the section where it found it, and
  // tells nobody.
  const SingleRecordState_t state = m_State;
  m_State = SectionReading;
  const bool done = channel->RequestCompressedSignal(start, stop, points, fromPartZero);
  m_State = state;
  if (!done) m_LastError = channel->LastErrorString();
  return done;
}

CompressStatus_t CRecordSection::GetCompressedSignal(const CChannelID& id, void* buffer,
                                                     SampleReadMode_t mode) {
  CChannel* channel = FindChannel(id);
  if (channel == nullptr) {
    m_LastError = ChannelNotFound(id);
    return CompressFailed;
  }
  const CompressStatus_t status = channel->GetCompressedSignal(buffer, mode);
  if (status < CompressReady) m_LastError = channel->LastErrorString();
  return status;
}

CompressedSignalInfo_t CRecordSection::GetCompressedSignalInfo(const CChannelID& id) {
  const CChannel* channel = FindChannel(id);
  return channel != nullptr ? channel->CompressedSignalInfo() : CompressedSignalInfo_t();
}

}  // namespace zsff
