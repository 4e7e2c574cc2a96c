#include "foundation/FileNames.h"

#include <cstring>

#include "foundation/NameScan.h"
#include "foundation/TextConversion.h"

namespace zsff {
namespace names {
namespace {

const char kRecordPrefix[] = "Record_";
const char kChannelPrefix[] = "Channel_";
const char kPartPrefix[] = "Part_";
const char kMeasurementExtension[] = ".zsfh";
const char kHeaderExtension[] = ".zff";
const char kEndedUpHeaderExtension[] = ".zxf";
const char kMarkersExtension[] = ".zmrk";
const char kWarningExtension[] = ".zwarn";
const char kChannelMetaDataExtension[] = ".zrm";
const char kSignalPartExtension[] = ".zrs";
const char kPyramidLevelExtension[] = ".zpr";
const char kLockFileName[] = "Metadata.lock";
const char kTmpRecordFileName[] = "TmpRecord.zrm";

// Sign extension of a 32-bit quantity to 64 bits, done without shifting
// negative numbers.
unsigned long long Widen(int value) {
  return static_cast<unsigned long long>(static_cast<long long>(value));
}

bool EndsWith(const std::string& text, const char* suffix) {
  const std::size_t size = std::strlen(suffix);
  return text.size() >= size && text.compare(text.size() - size, size, suffix) == 0;
}

// The text behind the first `prefix` in `text`, or null when there is none.
const char* After(const std::string& text, const char* prefix) {
  const std::string::size_type start = text.find(prefix);
  return start == std::string::npos ? nullptr : text.c_str() + start + std::strlen(prefix);
}

std::u16string Pattern(const char* extension) { return Utf8ToWide(std::string("*") + extension); }

}  // namespace

std::string RecordBaseName(long long base) { return kRecordPrefix + std::to_string(base); }

std::string RecordName(long long base, long long number) {
  return RecordName(RecordBaseName(base), number);
}

std::string RecordName(const std::string& baseName, long long number) {
  return baseName + "_" + std::to_string(number);
}

unsigned long long ParseRecordName(const std::string& text) {
  const char* p = After(text, kRecordPrefix);
  int base = 0;
  int number = 0;
  if (p == nullptr || !detail::ScanSigned32(p, base)) return 0;
  if (!detail::ScanLiteral(p, "_") || !detail::ScanSigned32(p, number)) {
    // A name without number is the first record of its base.
    return (static_cast<unsigned long long>(static_cast<unsigned int>(base)) << 32) | 0x10000ULL;
  }
  // Both widened with their sign before the shifts: a number outside 0..65535
  // spills into the base bits rather than being refused.
  return ((Widen(base) << 16) | Widen(number)) << 16;
}

bool IsRecordDirectoryName(const std::u16string& name) {
  return WideToUtf8(name).find(kRecordPrefix) != std::string::npos;
}

std::u16string MeasurementFileName(const std::u16string& baseName) {
  return baseName + Utf8ToWide(kMeasurementExtension);
}

std::u16string MeasurementFilePattern() { return Pattern(kMeasurementExtension); }

bool ParseMeasurementFileName(const std::string& file, std::string& baseName) {
  if (!EndsWith(file, kMeasurementExtension)) return false;
  baseName = file.substr(0, file.size() - std::strlen(kMeasurementExtension));
  return true;
}

std::string HeaderFileName(const std::string& baseName) { return baseName + kHeaderExtension; }

std::string EndedUpHeaderFileName(const std::string& baseName) {
  return baseName + kEndedUpHeaderExtension;
}

std::u16string MarkersFileName(const std::u16string& baseName) {
  return baseName + Utf8ToWide(kMarkersExtension);
}

std::u16string WarningFileName(const std::u16string& baseName) {
  return baseName + Utf8ToWide(kWarningExtension);
}

bool IsWarningFileName(const std::u16string& name) {
  return EndsWith(WideToUtf8(name), kWarningExtension);
}

std::u16string LockFileName() { return Utf8ToWide(kLockFileName); }

std::string ChannelName(unsigned short channelNumber) {
  return kChannelPrefix + std::to_string(channelNumber);
}

std::string ChannelDirectoryName(const CChannelID& id) {
  return ChannelName(id.ChannelNumber()) + "_" + std::to_string(id.AnalyzerIndex()) + "_" +
         id.ToDeviceSerialNumber();
}

bool ParseChannelDirectoryName(const std::string& text, CChannelID& id) {
  const char* p = After(text, kChannelPrefix);
  if (p == nullptr) return false;
  int channel = 0;
  int analyzer = 0;
  int serial = 0;
  if (!detail::ScanSigned32(p, channel) || !detail::ScanLiteral(p, "_") ||
      !detail::ScanSigned32(p, analyzer) || !detail::ScanLiteral(p, "_") ||
      !detail::ScanSigned32(p, serial)) {
    id = CChannelID();
  } else {
    id = CChannelID(static_cast<unsigned short>(channel), static_cast<unsigned short>(analyzer),
                    static_cast<unsigned int>(serial));
  }
  return true;
}

bool IsChannelDirectoryName(const std::u16string& name) {
  return WideToUtf8(name).rfind(kChannelPrefix, 0) == 0;
}

std::u16string ChannelMetaDataFileName(const std::u16string& name) {
  return name + Utf8ToWide(kChannelMetaDataExtension);
}

std::u16string ChannelMetaDataFilePattern() { return Pattern(kChannelMetaDataExtension); }

std::string PartName(unsigned short part) { return kPartPrefix + std::to_string(part); }

unsigned short ParsePartName(const std::string& text) {
  const char* p = After(text, kPartPrefix);
  int part = 0;
  if (p != nullptr) detail::ScanSigned32(p, part);
  return static_cast<unsigned short>(part);
}

std::string SignalPartFile(const std::string& part) { return part + kSignalPartExtension; }

std::u16string SignalPartFilePattern() { return Pattern(kSignalPartExtension); }

std::string PyramidLevelFile(const std::string& part, int level) {
  return part + "_" + std::to_string(level) + kPyramidLevelExtension;
}

std::string TmpRecordFileName() { return kTmpRecordFileName; }

std::u16string SavingCopyName(const std::u16string& name) { return name + u".new"; }

std::u16string LastPathComponent(const std::u16string& path, const std::u16string& separator) {
  const std::size_t cut = separator.empty() ? std::u16string::npos : path.rfind(separator);
  return cut == std::u16string::npos ? path : path.substr(cut + separator.size());
}

ChannelFile_t ChannelFileType(const std::string& file) {
  if (EndsWith(file, kSignalPartExtension)) return ChannelFileSignalPart;
  if (EndsWith(file, kPyramidLevelExtension)) return ChannelFilePyramidLevel;
  // Its extension is a metadata file's: the name alone tells them apart.
  if (file == kTmpRecordFileName) return ChannelFileTmpRecord;
  if (EndsWith(file, kChannelMetaDataExtension)) return ChannelFileMetaData;
  return ChannelFileOther;
}

std::string ChannelMetaDataName(const std::string& file) {
  return file.substr(0, file.size() - std::strlen(kChannelMetaDataExtension));
}

}  // namespace names
}  // namespace zsff
