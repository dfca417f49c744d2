// The two ways a command ends badly.
#pragma once

#include <stdexcept>
#include <string>

#include "TqLibEmlFile.h"

inline constexpr char kSeeLog[] = "see the log";

/// The command line asks for something that makes no sense (exit code 2).
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The command was refused or failed (exit code 1).
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A failure of the operating system: `what`, then the text of `code`, an errno value.
Failure systemFailure(const std::string& what, int code);

/// A failure that the library reported: `what`, then code and text of `error`; `otherwise` when it
/// left neither.
Failure libraryFailure(const std::string& what, const MMS2BaseError& error,
                       const std::string& otherwise = kSeeLog);

/// The failure of a change, named by `what`, that the library took for a success although the
/// catalogue does not hold it.
Failure notSaved(const std::string& what);
