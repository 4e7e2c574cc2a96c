// How the tree compares record ids: the process's record states are keyed by a
// record's id without its part number, and the sections of one split record
// share base and number.
#pragma once

#include <zsff/RecordId.h>

namespace zsff {
namespace tree {

inline CRecordId WithoutPart(const CRecordId& id) {
  CRecordId key(id);
  key.SetPartNumber(0);
  return key;
}

// Same base and number, whatever the parts.
inline bool SameRecord(const CRecordId& a, const CRecordId& b) {
  return a.RecordBase() == b.RecordBase() && a.RecordNumber() == b.RecordNumber();
}

}  // namespace tree
}  // namespace zsff
