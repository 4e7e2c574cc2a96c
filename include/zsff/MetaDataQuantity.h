// One operated physical quantity: an operator applied to two metadata keys.
#pragma once

#include <string>
#include <utility>
#include <zsff/Export.h>

namespace zsff {

// An entry of MetaDataContainer's PhysicalQuantityMap. The map's key and
// QuantityId normally agree, but the file form trusts the key alone.
class ZSFF_API MetaDataQuantity {
 public:
  // OperatorType 0, both keys empty. QuantityId carries no meaning until set; it is
  // zeroed so that a fresh entry copies cleanly.
  MetaDataQuantity() = default;
  MetaDataQuantity(int quantityId, int operatorType, std::string leftKey, std::string rightKey)
      : m_QuantityId(quantityId),
        m_OperatorType(operatorType),
        m_LeftKey(std::move(leftKey)),
        m_RightKey(std::move(rightKey)) {}

  int QuantityId() const { return m_QuantityId; }
  int OperatorType() const { return m_OperatorType; }
  const std::string& LeftKey() const { return m_LeftKey; }
  const std::string& RightKey() const { return m_RightKey; }

  void setQuantityId(int value) { m_QuantityId = value; }
  void setOperatorType(int value) { m_OperatorType = value; }
  void setLeftKey(const std::string& value) { m_LeftKey = value; }
  void setRightKey(const std::string& value) { m_RightKey = value; }

 private:
  int m_QuantityId = 0;
  int m_OperatorType = 0;
  std::string m_LeftKey;
  std::string m_RightKey;
};

}  // namespace zsff
