#include "Confirm.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace zsff_tools {

bool ConfirmRemoval(const std::string& what, bool yes, std::string& refusal) {
  std::printf("will %s\n", what.c_str());
  if (yes) return true;
  if (isatty(STDIN_FILENO) == 0) {
    refusal = "nothing removed: no terminal to ask, add --yes to go ahead";
    return false;
  }
  std::printf("go on? [y/N] ");
  std::fflush(stdout);
  std::string answer;
  std::getline(std::cin, answer);
  if (answer == "y" || answer == "Y" || answer == "yes") return true;
  refusal = "nothing removed";
  return false;
}

}  // namespace zsff_tools
