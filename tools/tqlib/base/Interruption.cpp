#include "base/Interruption.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace {

volatile std::sig_atomic_t notedSignal = 0;

// A signal that arrives just before a wait begins would not end the wait; a byte in this pipe does.
int wakeUp[2] = {-1, -1};

void note(int signal) {
  const int error = errno;
  notedSignal = signal;
  [[maybe_unused]] const ssize_t ignored = write(wakeUp[1], "", 1);
  errno = error;
}

// One that whoever started this process wants to be ignored stays so (nohup, a job in the
// background of a script).
void noteUnlessIgnored(int signal) {
  struct sigaction action {};
  if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = note;  // without SA_RESTART: a blocked write is to end
  sigaction(signal, &action, nullptr);
}

}  // namespace

void watchForInterruption() {
  if (pipe2(wakeUp, O_CLOEXEC | O_NONBLOCK) != 0) throw systemFailure("cannot make a pipe", errno);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) noteUnlessIgnored(signal);
  std::signal(SIGPIPE, SIG_IGN);
}

int interruption() {
  return notedSignal;
}

void waitForInput(int descriptor) {
  pollfd either[] = {{descriptor, POLLIN, 0}, {wakeUp[0], POLLIN, 0}};
  while (interruption() == 0 && poll(either, 2, -1) < 0 && errno == EINTR) {
  }
}

Interrupted::Interrupted(const std::string& left)
    : Failure("interrupted: " + left), signal(interruption()) {}

void stopIfInterrupted(const std::string& left) {
  if (interruption() != 0) throw Interrupted(left);
}

void endBySignal(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  _exit(128 + signal);  // the signal is blocked
}
