// The record entry of a measurement's list.
#include <zsff/MetaDataRecord.h>

namespace zsff {

MetaDataRecord::MetaDataRecord()
    : m_RecordId(0),
      m_LastPartNumber(0),
      m_AbsDate(0),
      m_RelDate(0.0),
      m_Duration(0.0),
      m_Recording(false),
      m_PartLength(0.0),
      m_OffsetTimeToStop(0) {}

MetaDataRecord::MetaDataRecord(unsigned long long recordId, short lastPartNumber, long long absDate,
                               double relDate, double duration, bool recording, double partLength,
                               long long offsetTimeToStop)
    : m_RecordId(recordId),
      m_LastPartNumber(static_cast<unsigned short>(lastPartNumber)),
      m_AbsDate(absDate),
      m_RelDate(relDate),
      m_Duration(duration),
      m_Recording(recording),
      m_PartLength(partLength),
      m_OffsetTimeToStop(offsetTimeToStop) {}

}  // namespace zsff
