#include "Interrupts.h"

#include <signal.h>

#include <initializer_list>

namespace zsff_tools {

namespace {

volatile sig_atomic_t g_Signal = 0;

void OnInterrupt(int signal) {
  if (g_Signal == 0) g_Signal = signal;
}

}  // namespace

void CatchInterrupts() {
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

bool Interrupted() { return g_Signal != 0; }

int InterruptedExitCode() { return 128 + (g_Signal != 0 ? g_Signal : SIGINT); }

}  // namespace zsff_tools
