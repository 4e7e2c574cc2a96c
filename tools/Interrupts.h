// Ctrl-C, SIGTERM and SIGHUP (the terminal closed) for the commands that run
// until they are done or stopped: instead of ending the process mid-write, they
// set a flag that the command's loop looks at, so the measurement is closed as a
// host would close it.
#pragma once

namespace zsff_tools {

// From now on SIGINT, SIGTERM and SIGHUP only set the flag.
void CatchInterrupts();
// Whether one of them has come since CatchInterrupts.
bool Interrupted();
// The status a shell gives a process that one of them ended, 128 plus the
// signal's number (130 for Ctrl-C, 143 for SIGTERM), so that scripts and
// service managers tell a clean stop on request from a failure.
int InterruptedExitCode();

}  // namespace zsff_tools
