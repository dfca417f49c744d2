// How a command fails: by wrong usage, a failure, or a signal.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "TqLibEmlFile.h"

/// "see the log", with its path when it is a file.
std::string seeLog();

/// The command line is wrong (exit code 2).
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The command was refused or failed (exit code 1).
struct Failure : std::runtime_error {
  /// `nextStep` is what the operator can do about it, or empty; `errorCode` is the API's, or 0.
  explicit Failure(const std::string& text, std::string nextStep = "", int errorCode = 0)
      : std::runtime_error(text), next(std::move(nextStep)), code(errorCode) {}

  std::string next;
  int code;
};

// Codes of the API that commands look at
inline constexpr int kVolumeFull = 785;  ///< nothing failed, but the volume is too large
inline constexpr int kDestinationOccupied = 40006;
inline constexpr int kSourceEmpty = 40018;
inline constexpr int kElementNotFound = 50009;

/// What an operator can do when `text` has the system's reason for a failure, such as "No space
/// left on device"; empty when there is no advice.
std::string adviceOn(const std::string& text);

/// A failure of the operating system: `what`, then the text of `code`, an errno value.
Failure systemFailure(const std::string& what, int code);

/// A failure that the API reported: `what`, then code and text of `error`, or `otherwise` when it
/// has neither.
Failure libraryFailure(const std::string& what, const MMS2BaseError& error,
                       const std::string& otherwise = seeLog());

/// From now on, SIGINT, SIGTERM and SIGHUP are only recorded, so that a transfer can stop between
/// two blocks. A write to a pipe without a reader then fails with EPIPE.
void watchForInterruption();

/// The signal that was recorded, or 0.
int interruption();

/// The command stopped because of a signal; `left` describes what it has done or not done.
struct Interrupted : Failure {
  explicit Interrupted(const std::string& left)
      : Failure("interrupted: " + left), signal(interruption()) {}

  int signal;
};

/// Throws Interrupted when a signal was recorded.
void stopIfInterrupted(const std::string& left);

/// Ends the process as `signal` would have, so that a shell sees the reason.
[[noreturn]] void endBySignal(int signal);
