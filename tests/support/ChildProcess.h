// What a test that forks shares with its child: pipes to take turns by, and the
// reaping of the child however the test ends.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace zsff_test {

// One direction of a pipe between the processes: a byte means "go on". Each
// side closes the end it doesn't use, so a peer that dies shows as an end of
// file instead of a hang.
class Signal {
 public:
  Signal() {
    if (pipe(m_Fds) != 0) ADD_FAILURE() << "pipe failed";
  }
  ~Signal() {
    for (int fd : m_Fds)
      if (fd >= 0) close(fd);
  }
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;

  void KeepSendingEnd() { CloseEnd(0); }
  void KeepReceivingEnd() { CloseEnd(1); }
  bool Send(char byte = 1) {
    ssize_t written;
    do written = write(m_Fds[1], &byte, 1);
    while (written < 0 && errno == EINTR);
    return written == 1;
  }
  // Whether a byte (or the peer's end) is waiting.
  bool Pending() { return Wait(0); }
  // False when the peer has gone, or after a minute: a fault must show as a
  // failure, not a hang.
  bool Receive() {
    char byte = 0;
    return Receive(byte);
  }
  bool Receive(char& byte) { return Wait(60000) && read(m_Fds[0], &byte, 1) == 1; }

 private:
  bool Wait(int milliseconds) {
    pollfd ready{m_Fds[0], POLLIN, 0};
    int polled;
    do polled = poll(&ready, 1, milliseconds);
    while (polled < 0 && errno == EINTR);
    return polled == 1;
  }
  void CloseEnd(int end) {
    close(m_Fds[end]);
    m_Fds[end] = -1;
  }
  int m_Fds[2] = {-1, -1};
};

// Ends and reaps the child however the test ends.
struct Reaper {
  pid_t Pid;
  int Status = -1;
  int Wait(int options = 0) {
    if (Pid > 0 && waitpid(Pid, &Status, options) == Pid) Pid = 0;
    return Status;
  }
  ~Reaper() {
    if (Pid <= 0) return;
    kill(Pid, SIGKILL);
    Wait();
  }
};

}  // namespace zsff_test
