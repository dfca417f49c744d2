// An operator's Ctrl-C, or a kill, during a transfer.
#pragma once

#include <string>

#include "base/Errors.h"

/// From now on a signal that asks the process to end is only noted, so that a transfer can stop
/// between two blocks; and writing to a pipe that nobody reads is an error like others.
/// Throws Failure.
void watchForInterruption();

/// The signal that was noted, or 0.
int interruption();

/// Waits until `descriptor` has data or has ended. Returns early when a signal is noted.
void waitForInput(int descriptor);

/// The command stopped because of a signal; `left` tells what is left of its work.
struct Interrupted : Failure {
  explicit Interrupted(const std::string& left);

  int signal;
};

/// Throws Interrupted when a signal was noted.
void stopIfInterrupted(const std::string& left);

/// Ends the process as `signal` would have, so that a shell sees what ended it.
[[noreturn]] void endBySignal(int signal);
