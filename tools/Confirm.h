// What a destructive command says before it removes anything, and its question:
// the removal is told on standard output, asked about on a terminal, and taken as
// agreed only with --yes when nobody is there to answer.
#pragma once

#include <string>

namespace zsff_tools {

// Prints "will <what>", then asks on a terminal unless `yes`. False, with the
// reason in `refusal`, when the answer isn't yes or no terminal can be asked.
bool ConfirmRemoval(const std::string& what, bool yes, std::string& refusal);

}  // namespace zsff_tools
