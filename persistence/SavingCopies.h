// What a save of a metadata file leaves behind when it is cut short between
// writing the new text beside the file and moving it over the file.
#pragma once

#include <string>

namespace zsff {

class CAbstractFileAccess;

namespace metadata_file {

// Finishes or drops every beside-file of a save below `directory`: one that
// reads whole is the newest save and moves over its file; one cut short goes.
// False when a directory can't be listed or a file can't be moved or deleted;
// the others are still done. No other writer may be saving meanwhile.
bool FinishSavingCopies(CAbstractFileAccess& store, const std::u16string& directory);

}  // namespace metadata_file
}  // namespace zsff
