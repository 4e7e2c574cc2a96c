// zsff serve: a measurement shown in the browser. Serves the page and the
// outline and zooms it asks for until Ctrl-C.
#include <zsff/RecordSignalTree.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "Commands.h"
#include "Interrupts.h"
#include "OpenTree.h"
#include "ViewerServer.h"

namespace zsff_tools {

int RunServe(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("serve");
  Arguments arguments;
  int code = ExitOk;
  if (!ParseDirectoryArguments(command, args, {{"port", true}, {"bind", true}}, arguments, code)) {
    return code;
  }
  long long port = 8080;
  std::string error;
  if (!arguments.GetInteger("port", 0, 65535, port, error)) return UsageError(command, error);
  const std::string address = arguments.Has("bind") ? arguments.Value("bind") : "127.0.0.1";
  const std::string directory = MeasurementDirectory(arguments.Positional().front()).string();
  {
    // Refused here rather than at the first request.
    std::unique_ptr<zsff::CRecordSignalTree> tree = OpenForReading(directory, error);
    if (!tree) return Fail(error);
    zsff::CRecordSignalTree::CloseSignalTree(tree);
  }

  ViewerServer server(directory);
  if (!server.Bind(address, static_cast<int>(port), error)) return Fail(error);
  CatchInterrupts();
  std::thread serving([&server] { server.Run(); });
  std::printf("Serving %s on http://%s:%d/ (Ctrl-C stops)\n", directory.c_str(), address.c_str(),
              server.Port());
  std::fflush(stdout);
  while (!Interrupted()) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  server.Stop();
  serving.join();
  return ExitOk;
}

}  // namespace zsff_tools
