// zsff erase: parts of one channel of a record read as zeros from now on, and
// their files go.
#include <cstdio>
#include <filesystem>

#include "Arguments.h"
#include "Commands.h"
#include "Confirm.h"
#include "EditMeasurement.h"
#include "Format.h"
#include "OpenTree.h"
#include "RecordChoice.h"
#include "Verbosity.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

// "FIRST..LAST" or one part; false when it isn't that.
bool ParseParts(const std::string& text, long long& first, long long& last) {
  const std::size_t dots = text.find("..");
  const std::string from = dots == std::string::npos ? text : text.substr(0, dots);
  const std::string to = dots == std::string::npos ? text : text.substr(dots + 2);
  const auto number = [](const std::string& digits, long long& out) {
    if (digits.empty() || digits.size() > 5 ||
        digits.find_first_not_of("0123456789") != std::string::npos)
      return false;
    out = std::stoll(digits);
    return out <= 65535;
  };
  return number(from, first) && number(to, last) && first <= last;
}

}  // namespace

int RunErase(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("erase");
  Arguments arguments;
  int code = ExitOk;
  if (!ParseDirectoryArguments(command, args,
                               {{"record", true}, {"channel", true}, {"parts", true}, {"yes", false}},
                               arguments, code))
    return code;
  std::string error;
  long long position = 1, channel = 0, first = 0, last = 0;
  if (!arguments.Has("channel") || !arguments.Has("parts"))
    return UsageError(command, "what? --channel C and --parts FIRST..LAST are needed");
  if (!arguments.GetInteger("record", 1, 65535, position, error) ||
      !arguments.GetInteger("channel", 0, 65535, channel, error))
    return UsageError(command, error);
  if (!ParseParts(arguments.Value("parts"), first, last))
    return UsageError(command, "--parts wants FIRST..LAST, part numbers from 0 counted from the "
                               "record's first: \"" + arguments.Value("parts") + "\"");

  const fs::path directory = MeasurementDirectory(arguments.Positional()[0]);
  std::unique_ptr<zsff::CRecordSignalTree> tree = OpenForEditing(directory, error);
  if (!tree) return Fail(error);
  zsff::MetaDataRecord entry;
  if (!ChooseRecord(*tree, directory, position, entry, error)) return Fail(error);
  const zsff::CRecordId id(entry.RecordId());
  int handle = tree->OpenRecord(id, zsff::CRecordSignalTree::TreeOpenDefault, 0);
  zsff::CChannelID channelId;
  if (handle == 0 || !ChooseChannel(tree->wRecord(handle), channel, channelId, error)) {
    if (handle != 0) tree->CloseRecord(handle, false);
    return Fail(directory.string() + ": " + error);
  }

  if (!ConfirmRemoval(Printf("erase parts %lld..%lld of channel %lld in record %lld of %s: they "
                             "will read as zeros",
                             first, last, channel, position, directory.string().c_str()),
                      arguments.Has("yes"), error)) {
    tree->CloseRecord(handle, false);
    return Fail(error);
  }
  const bool erased = tree->wRecord(handle).EraseParts(channelId, static_cast<unsigned short>(first),
                                                       static_cast<unsigned short>(last));
  const std::string why = zsff::WideToUtf8(tree->wRecord(handle).LastErrorString());
  tree->CloseRecord(handle, false);
  if (!erased)
    return Fail(directory.string() + ": the parts can't be erased: " +
                (why.empty() ? std::string("no reason given") : why));
  // The files of parts marked go when the record opens next: open it now.
  handle = tree->OpenRecord(id, zsff::CRecordSignalTree::TreeOpenRead, 0);
  if (handle != 0) tree->CloseRecord(handle, false);
  if (Chatty())
    std::printf("erased parts %lld..%lld of channel %lld in record %lld of %s\n", first, last,
                channel, position, directory.string().c_str());
  return ExitOk;
}

}  // namespace zsff_tools
