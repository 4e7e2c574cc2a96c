// The JSON text of a MetaDataContainer. Every metadata file of a measurement (the
// channel's ".zrm", the measurement's ".zsfh", the markers' ".zmrk") is this one
// schema; the files differ only in which parts of the container are filled.
//
// The root object holds, in this order: "Version" (1); one member per metadata
// key, in key order (undefined values are left out); then, each only when not
// empty, "Properties", "OperatedPhysicalQuantity", "Markers", "Analyzers" and
// "Records", arrays of objects. The class does no file I/O; the metadata file
// classes do.
#pragma once

#include <memory>
#include <string>
#include <zsff/Export.h>

namespace zsff {

class MetaDataContainer;

// Not safe for two threads at once, even through the const operations: every
// conversion reuses the object's one document and may record a message. The
// object owns its document; it is not copyable, since two copies would share it.
class ZSFF_API MetaDataContainerJson {
 public:
  MetaDataContainerJson();
  virtual ~MetaDataContainerJson();

  MetaDataContainerJson(const MetaDataContainerJson&) = delete;
  MetaDataContainerJson& operator=(const MetaDataContainerJson&) = delete;

  // The text of `in`, pretty-printed with four spaces and one trailing newline.
  // Doubles are written in their shortest form that reads back exactly. A NaN or
  // infinite double ends the text at that value, unclosed; the text is returned
  // as it stands and no message is recorded. If the standard library throws while
  // the text is built, the result is empty and LastError() tells why.
  std::string ToJSONString(const MetaDataContainer& in) const;

  // Reads `text` into `out`. On a parse error, a missing "Version" (a root that
  // isn't an object counts as such) or a version other than 1, false and `out`
  // untouched. Otherwise `out` loses its metadata, properties, markers, analyzers
  // and records (its physical quantities stay unless the text names the same id)
  // and takes what the text holds. Numbers come back in the narrowest type that
  // holds them (a long long of 5 as a long, a float as a double, a vector of small
  // unsigned numbers as a vector of long); the container's FindMetadata widens
  // them again. False, with `out` filled, when the text holds neither a metadata
  // value nor a marker. Every failure reports its message as a diagnostic and
  // keeps it for LastError(). Never reads outside `text`, whatever it holds.
  bool FromJSONString(const std::string& text, MetaDataContainer& out);

  // Moves the last message out: a second call returns an empty string. A success
  // doesn't clear a message that nobody fetched.
  std::string LastError() const;

 private:
  struct Document;  // the parser's document, kept out of this header

  std::unique_ptr<Document> m_Document;
  mutable std::string m_LastError;
};

}  // namespace zsff
