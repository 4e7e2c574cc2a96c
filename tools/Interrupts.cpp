#include "Interrupts.h"

#include <signal.h>

namespace zsff_tools {

namespace {

volatile sig_atomic_t g_Interrupted = 0;

void OnInterrupt(int) { g_Interrupted = 1; }

}  // namespace

void CatchInterrupts() {
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool Interrupted() { return g_Interrupted != 0; }

}  // namespace zsff_tools
