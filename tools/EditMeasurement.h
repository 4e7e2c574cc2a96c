// Opening a recorded measurement to change it (mark, rename, and the other
// commands that edit), for one command at a time across processes: the library's
// editing mark in the measurement file says who edits, and each refusal names the
// file that holds the measurement, in one line, before anything is changed.
#pragma once

#include <zsff/RecordSignalTree.h>

#include <filesystem>
#include <memory>
#include <string>

namespace zsff_tools {

// The measurement in `directory`, opened with the editing mark won; the tree
// gives the mark back when it is closed. Null with `error` set when it isn't a
// measurement, when another process records it (a channel's temporary record
// file is there) or edits it (the mark is set), or when a lock file stands in the
// way; the last two name "zsff unlock", which clears what a killed program left.
std::unique_ptr<zsff::CRecordSignalTree> OpenForEditing(const std::filesystem::path& directory,
                                                        std::string& error);

// The temporary record file of a channel of a record being recorded, as a path;
// empty when no record of `directory` is being recorded.
std::string RecordingFile(const std::filesystem::path& directory);

// The hint that ends a refusal caused by something a killed program may have left.
std::string UnlockHint(const std::filesystem::path& directory);

}  // namespace zsff_tools
