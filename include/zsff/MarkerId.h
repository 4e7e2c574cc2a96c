// The identity of a marker: a sequence word (the tree's running marker counter)
// and, behind it, a scope word (the tree's record counter). Stored in the
// markers file as "Index" (sequence) and "Record" (scope).
#pragma once

#include <zsff/Export.h>

namespace zsff {

// A plain 4-byte value. Both words 0 is not a valid marker id: the metadata
// container refuses to add it.
class ZSFF_API CMarkerId {
 public:
  CMarkerId() = default;
  CMarkerId(unsigned short sequence, unsigned short scope) : m_Sequence(sequence), m_Scope(scope) {}

  unsigned short Sequence() const { return m_Sequence; }
  unsigned short Scope() const { return m_Scope; }
  void SetSequence(unsigned short sequence) { m_Sequence = sequence; }
  void SetScope(unsigned short scope) { m_Scope = scope; }

  // False only when both words are 0.
  bool IsValid() const { return m_Sequence != 0 || m_Scope != 0; }

  // Scope in the high 16 bits, sequence in the low 16: the order of a marker map.
  unsigned int Key() const { return (static_cast<unsigned int>(m_Scope) << 16) | m_Sequence; }

  bool operator==(const CMarkerId& other) const { return Key() == other.Key(); }
  bool operator!=(const CMarkerId& other) const { return Key() != other.Key(); }
  // Markers sort by scope, then sequence.
  bool operator<(const CMarkerId& other) const { return Key() < other.Key(); }

 private:
  unsigned short m_Sequence = 0;
  unsigned short m_Scope = 0;
};

}  // namespace zsff
