// An exclusive hold on a local directory, for as long as the object lives: what
// lets exactly one of several creators of a measurement through when they all
// find its directory missing or empty at the same moment. The hold is a lock
// on the open directory, so the kernel drops it with the process and a crash
// leaves nothing on disk. It is advisory: only other claims respect it.
#pragma once

#include <string>

namespace zsff {

class CDirectoryClaim {
 public:
  enum Result_t {
    Claimed,        // held by this object; the directory was empty when claimed
    HeldElsewhere,  // another claim, in this process or another, holds it
    NotEmpty,       // nothing holds it, but it already has entries
    NotClaimable    // it can't be opened or locked, for instance because it's missing
  };

  CDirectoryClaim() = default;
  ~CDirectoryClaim();
  CDirectoryClaim(const CDirectoryClaim&) = delete;
  CDirectoryClaim& operator=(const CDirectoryClaim&) = delete;

  // Claims the directory `path` (UTF-8). Only Claimed keeps a hold; a second
  // Take on the same object is not supported.
  Result_t Take(const std::string& path);

 private:
  int m_Directory = -1;
};

}  // namespace zsff
