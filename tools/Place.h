// Where a directory named on the command line lies: a path on the local disk,
// or ceph://CLIENT@CONFIG_PATH/PATH, a directory of a Ceph file system that the
// machines of a fleet share. The commands keep such a directory as the address
// itself, which their messages then show as the user gave it.
#pragma once

#include <zsff/FileAccess.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace zsff_tools {

struct Place {
  // The directory on its disk, absolute: inside the file system for CephFS.
  std::filesystem::path Path;
  // The store of that disk, for the tool's own look at the files.
  std::shared_ptr<zsff::CAbstractFileAccess> Files;
  // What a tree takes for its disk: null for the local disk, which a tree
  // reaches (and claims its directories on) by itself.
  std::shared_ptr<zsff::CAbstractFileAccess> TreeDisk;
};

bool IsCephAddress(const std::string& text);

// The address with its path made normal and without a closing "/"; text that
// isn't a whole address comes back as it is, for FindPlace to refuse.
std::string NormalCephAddress(const std::string& address);

// The place of `directory`, a local path or an address (below a measurement
// too). Each file system is mounted once per process, at its first use, and
// stays mounted. False, with `error`, for a wrong address or a failed mount.
bool FindPlace(const std::filesystem::path& directory, Place& place, std::string& error);

// The names in `directory` on the disk of `files`, directories and files
// apart (either may be null), each sorted; false when it can't be listed.
bool ListNames(zsff::CAbstractFileAccess& files, const std::filesystem::path& directory,
               std::vector<std::string>* directoryNames, std::vector<std::string>* fileNames);
// The same for a local path or an address.
bool ListNames(const std::filesystem::path& directory, std::vector<std::string>* directoryNames,
               std::vector<std::string>* fileNames);

// Whether anything is at `path`, a local path or an address.
bool PathExists(const std::filesystem::path& path);
// Removes the file at `path`; false, with errno where the disk gives one, when
// it can't.
bool RemoveFile(const std::filesystem::path& path);

// Makes `directory` and the directories above it that are missing; false,
// with `error`, when it isn't there afterwards.
bool MakeDirectories(const std::filesystem::path& directory, std::string& error);

// Whether two places lie on one disk, where a tree copies from one to the other.
bool SameDisk(const Place& a, const Place& b);

}  // namespace zsff_tools
