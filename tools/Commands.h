// The commands of the zsff tool. Each takes the words after its name and
// returns the process's exit code; it prints its own errors through Fail.
#pragma once

#include <string>
#include <vector>

#include "Arguments.h"
#include "Reason.h"

namespace zsff_tools {

enum ExitCode_t {
  ExitOk = 0,
  ExitFailure = 1,  // the command ran and failed
  ExitUsage = 2,    // the command line is wrong
  ExitInterrupted = 130  // stopped by a signal: the process ends with InterruptedExitCode()
};

struct Command {
  const char* Name;
  const char* Arguments;  // for the usage line, e.g. "[options] DIR"
  const char* Summary;    // one line for the command list
  const char* Help;       // the options, one per line, printed by "zsff NAME --help"
  int (*Run)(const std::vector<std::string>& args);
};

// Every command, in the order "zsff --help" lists them.
const std::vector<Command>& Commands();

// Prints "zsff: <message>" on standard error; returns `code`.
int Fail(const std::string& message, int code = ExitFailure);
// As Fail, followed by a hint to the command's help; returns ExitUsage.
int UsageError(const Command& command, const std::string& message);
// Parses the words of a command that takes its options and one measurement
// directory; false when they are wrong, with the usage error printed and its exit
// code in `code`.
bool ParseDirectoryArguments(const Command& command, const std::vector<std::string>& args,
                             const std::vector<OptionRule>& rules, Arguments& arguments,
                             int& code);
// The full help of a command, to standard output.
void PrintCommandHelp(const Command& command);
const Command* FindCommand(const std::string& name);

int RunRecord(const std::vector<std::string>& args);
int RunInfo(const std::vector<std::string>& args);
int RunRead(const std::vector<std::string>& args);
int RunFollow(const std::vector<std::string>& args);
int RunZoom(const std::vector<std::string>& args);
int RunPlot(const std::vector<std::string>& args);
int RunRescale(const std::vector<std::string>& args);
int RunMark(const std::vector<std::string>& args);
int RunMarkers(const std::vector<std::string>& args);
int RunRename(const std::vector<std::string>& args);
int RunUnlock(const std::vector<std::string>& args);
int RunSplit(const std::vector<std::string>& args);
int RunErase(const std::vector<std::string>& args);
int RunDelete(const std::vector<std::string>& args);
int RunRemoveChannel(const std::vector<std::string>& args);
int RunClean(const std::vector<std::string>& args);
int RunCopy(const std::vector<std::string>& args);
int RunEndup(const std::vector<std::string>& args);
#ifdef ZSFF_HAS_SERVE
int RunServe(const std::vector<std::string>& args);
#endif
#ifdef ZSFF_HAS_SFTP
int RunUpload(const std::vector<std::string>& args);
int RunDownload(const std::vector<std::string>& args);
#endif

}  // namespace zsff_tools
