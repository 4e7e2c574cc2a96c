// Ctrl-C and SIGTERM for the commands that run until they are done or stopped:
// instead of ending the process mid-write, they set a flag that the command's
// loop looks at, so the measurement is closed as a host would close it.
#pragma once

namespace zsff_tools {

// From now on SIGINT and SIGTERM only set the flag.
void CatchInterrupts();
// Whether one of them has come since CatchInterrupts.
bool Interrupted();

}  // namespace zsff_tools
