// A marker of a measurement.
#include <zsff/MetaDataMarker.h>

namespace zsff {

// Exact comparison of the dates is intended: a marker read back from its file is
// the same marker only if nothing in it moved.
bool MetaDataMarker::operator==(const MetaDataMarker& other) const {
  return m_Id == other.m_Id && m_RelativeDate == other.m_RelativeDate &&
         m_RelativeDateFromRun == other.m_RelativeDateFromRun &&
         m_AbsoluteDate == other.m_AbsoluteDate && m_Comment == other.m_Comment;
}

}  // namespace zsff
