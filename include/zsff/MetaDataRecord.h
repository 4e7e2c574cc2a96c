// One entry of a measurement's list of records.
#pragma once

#include <zsff/Export.h>

namespace zsff {

// A plain value. Inside a MetaDataContainer the list is kept sorted by RecordId and
// each RelDate is the sum of the durations of the records before it; the container
// maintains that, this class does not.
class ZSFF_API MetaDataRecord {
 public:
  // Every field zero. (RecordId and LastPartNumber carry no meaning until set, but
  // are zeroed all the same so that copying a fresh record reads nothing undefined.)
  MetaDataRecord();
  MetaDataRecord(unsigned long long recordId, short lastPartNumber, long long absDate,
                 double relDate, double duration, bool recording, double partLength,
                 long long offsetTimeToStop);

  // Identity of the record, as the 64-bit value of a CRecordId.
  unsigned long long RecordId() const { return m_RecordId; }
  unsigned short LastPartNumber() const { return m_LastPartNumber; }
  // Absolute start date, a file time in 100 ns ticks since 1601.
  long long AbsDate() const { return m_AbsDate; }
  // Seconds from the start of the measurement.
  double RelDate() const { return m_RelDate; }
  // Record length in seconds.
  double Duration() const { return m_Duration; }
  // The record is still being recorded.
  bool Recording() const { return m_Recording; }
  double PartLength() const { return m_PartLength; }
  long long OffsetTimeToStop() const { return m_OffsetTimeToStop; }

  void setRecordId(unsigned long long value) { m_RecordId = value; }
  void setLastPartNumber(unsigned short value) { m_LastPartNumber = value; }
  void setAbsDate(long long value) { m_AbsDate = value; }
  void setRelDate(double value) { m_RelDate = value; }
  void setDuration(double value) { m_Duration = value; }
  void setRecording(bool value) { m_Recording = value; }
  void setPartLength(double value) { m_PartLength = value; }
  void setOffsetTimeToStop(long long value) { m_OffsetTimeToStop = value; }

 private:
  unsigned long long m_RecordId;
  unsigned short m_LastPartNumber;
  long long m_AbsDate;
  double m_RelDate;
  double m_Duration;
  bool m_Recording;
  double m_PartLength;
  long long m_OffsetTimeToStop;
};

}  // namespace zsff
