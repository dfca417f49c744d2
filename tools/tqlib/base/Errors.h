// The two ways a command ends badly.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "TqLibEmlFile.h"

inline constexpr char kSeeLog[] = "see the log";

/// The command line asks for something that makes no sense (exit code 2).
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The command was refused or failed (exit code 1).
struct Failure : std::runtime_error {
  /// `nextStep` is what the operator can do about it, empty when there is nothing to say;
  /// `errorCode` that of the library, 0 when it gave none.
  explicit Failure(const std::string& text, std::string nextStep = "", int errorCode = 0)
      : std::runtime_error(text), next(std::move(nextStep)), code(errorCode) {}

  std::string next;
  int code;
};

/// A failure of the operating system: `what`, then the text of `code`, an errno value.
Failure systemFailure(const std::string& what, int code);

/// A failure that the library reported: `what`, then code and text of `error`; `otherwise` when it
/// left neither. The code tells what to do next, where there is anything.
Failure libraryFailure(const std::string& what, const MMS2BaseError& error,
                       const std::string& otherwise = kSeeLog);

/// The failure of a change, named by `what`, that the library took for a success although the
/// catalogue does not hold it.
Failure notSaved(const std::string& what);
