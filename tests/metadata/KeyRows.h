// Checks a named view against the key table it must follow: each row names a key as it
// is spelled in the files, the kind it must be stored as, one writer call and the reader
// call that must give the value back.
#pragma once

#include <gtest/gtest.h>
#include <zsff/MetaDataContainer.h>

#include <functional>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace zsff_test {

template <class Writer, class Reader>
struct KeyRow {
  const char* key;
  zsff::MetaDataValue::EMetaDataType type;
  std::function<void(Writer&)> write;
  // Reads the value back from `written`, and from `empty`, which lacks the key.
  std::function<void(const Reader& written, const Reader& empty)> read;
};

// Writer overloads that differ only by argument need the argument type given:
// Writes<W, long>(&W::Coupling, 3L).
template <class Writer, class Arg, class Value>
std::function<void(Writer&)> Writes(void (Writer::*set)(Arg), Value value) {
  return [set, value](Writer& writer) { (writer.*set)(value); };
}

// A missing key gives false. An 8-bit text output is then emptied (such rows always
// assign); any other output keeps what the caller preset.
template <class Reader, class Value>
std::function<void(const Reader&, const Reader&)> Reads(bool (Reader::*get)(Value&) const,
                                                        Value expected) {
  return [get, expected](const Reader& written, const Reader& empty) {
    Value out{};
    EXPECT_TRUE((written.*get)(out));
    EXPECT_EQ(out, expected);

    Value preset = expected;
    EXPECT_FALSE((empty.*get)(preset));
    if constexpr (std::is_same_v<Value, std::string>) {
      EXPECT_EQ(preset, "");
    } else {
      EXPECT_EQ(preset, expected);
    }
  };
}

template <class Writer, class Reader>
void CheckKeyRows(const std::vector<KeyRow<Writer, Reader>>& rows) {
  for (const KeyRow<Writer, Reader>& row : rows) {
    SCOPED_TRACE(row.key);
    zsff::MetaDataContainer written;
    const zsff::MetaDataContainer empty;
    Writer writer(written);
    row.write(writer);
    EXPECT_EQ(written.GetMetadataKeys(), std::set<std::string>{row.key});
    EXPECT_EQ(written.GetMetadataType(row.key), row.type);
    row.read(Reader(written), Reader(empty));
  }
}

}  // namespace zsff_test
