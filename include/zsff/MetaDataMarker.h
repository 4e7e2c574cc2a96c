// One marker of a measurement: a point in time with a comment.
#pragma once

#include <zsff/MarkerId.h>

#include <string>
#include <utility>
#include <zsff/Export.h>

namespace zsff {

class ZSFF_API MetaDataMarker {
 public:
  // Id 0, both dates 0.0, both texts empty.
  MetaDataMarker() = default;
  MetaDataMarker(const CMarkerId& id, double relativeDate, double relativeDateFromRun,
                 std::u16string absoluteDate, std::u16string comment)
      : m_Id(id),
        m_RelativeDate(relativeDate),
        m_RelativeDateFromRun(relativeDateFromRun),
        m_AbsoluteDate(std::move(absoluteDate)),
        m_Comment(std::move(comment)) {}

  const CMarkerId& id() const { return m_Id; }
  double relativeDate() const { return m_RelativeDate; }
  double relativeDateFromRun() const { return m_RelativeDateFromRun; }
  // The absolute date as text.
  const std::u16string& absoluteDate() const { return m_AbsoluteDate; }
  const std::u16string& comment() const { return m_Comment; }

  void setId(const CMarkerId& value) { m_Id = value; }
  void setRelativeDate(double value) { m_RelativeDate = value; }
  void setRelativeDateFromRun(double value) { m_RelativeDateFromRun = value; }
  void setAbsoluteDate(const std::u16string& value) { m_AbsoluteDate = value; }
  void setComment(const std::u16string& value) { m_Comment = value; }

  // Back to the default state.
  void clear() { *this = MetaDataMarker(); }

  // Every field equal, the two dates compared exactly.
  bool operator==(const MetaDataMarker& other) const;
  bool operator!=(const MetaDataMarker& other) const { return !(*this == other); }

 private:
  CMarkerId m_Id;
  double m_RelativeDate = 0.0;
  double m_RelativeDateFromRun = 0.0;
  std::u16string m_AbsoluteDate;
  std::u16string m_Comment;
};

}  // namespace zsff
