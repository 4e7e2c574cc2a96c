#include "damage/ToolRun.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "support/FileContents.h"

namespace zsff_test {

ToolOutcome RunTool(const std::string& tool, const std::vector<std::string>& arguments,
                    const std::filesystem::path& scratch, int seconds) {
  const std::filesystem::path errors = scratch / "tool-stderr";
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(tool.c_str()));
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  ToolOutcome outcome;
  const pid_t child = fork();
  if (child < 0) return outcome;
  if (child == 0) {
    const int out = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const int err = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (out < 0 || err < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0) _exit(127);
    const int in = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (in < 0 || dup2(in, 0) < 0) _exit(127);
    setenv("ASAN_OPTIONS", "exitcode=86", 1);
    setenv("UBSAN_OPTIONS", "exitcode=86:print_stacktrace=1", 1);
    execv(tool.c_str(), argv.data());
    _exit(127);
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  int status = 0;
  for (;;) {
    const pid_t done = waitpid(child, &status, WNOHANG);
    if (done == child) break;
    if (done < 0) return outcome;
    if (std::chrono::steady_clock::now() >= deadline) {
      kill(child, SIGKILL);
      waitpid(child, &status, 0);
      outcome.TimedOut = true;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  outcome.Exited = !outcome.TimedOut && WIFEXITED(status);
  if (outcome.Exited) outcome.Status = WEXITSTATUS(status);
  outcome.Errors = FileText(errors);
  return outcome;
}

}  // namespace zsff_test
