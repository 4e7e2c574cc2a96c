// A path of the command line as the library's wide text. The library takes
// paths as UTF-16, which carries every UTF-8 path and nothing else: a path
// whose bytes aren't UTF-8 (a name made under another encoding) is refused
// here, since any wide text made of it would name another file.
#pragma once

#include <filesystem>
#include <string>

namespace zsff_tools {

// `path` as wide text, exactly; false, with `error` naming the path (its
// stray bytes written as \xNN), when its bytes aren't UTF-8.
bool ToWidePath(const std::filesystem::path& path, std::u16string& wide, std::string& error);

// The same for the parent and the name of a measurement directory, which the
// library takes apart; `error` names the whole directory.
bool ToWideParentAndName(const std::filesystem::path& directory, std::u16string& parent,
                         std::u16string& name, std::string& error);

// `path` as a store takes it; empty, which names nothing, when it isn't UTF-8.
std::u16string StorePath(const std::filesystem::path& path);
// The last name of a path that a store's listing gave, in UTF-8.
std::string ListedName(const std::u16string& path);

}  // namespace zsff_tools
