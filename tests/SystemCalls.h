// Runs an operation in a child process and counts, records or fails its system calls on one folder.
// The kernel sends every call to a signal handler of the child.
#pragma once

#include <fcntl.h>

#include <functional>
#include <string>
#include <vector>

namespace tests {

/// What happens to the `at`-th call, counted from 1.
struct Fault {
  enum Kind {
    None,
    Once,
    Permanent,  ///< it and all later calls fail
    Death       ///< the process is killed
  };
  Kind kind = None;
  int error = 0;  ///< of a call that fails
  int at = 0;
};

/// The result of an operation. Plain bytes, because it crosses from one process to another.
struct Outcome {
  bool result = false;
  unsigned long count = 0;
  int code = 0;
  char data[16] = {};
};

struct SystemCall {
  long number;
  long result;
  long arguments[6];
  char path[200];
  char secondPath[200];
  char data[16384];  ///< of a write
};

struct ChildRun {
  int status;       ///< of the process, as wait() gives it
  bool isDone;      ///< the operation returned
  bool hasLeaks;    ///< set under AddressSanitizer, when one call fails with EIO
  int descriptors;  ///< open after the operation and not before
  int calls;
  Outcome outcome;
};

inline int openDescriptors() {
  int open = 0;
  for (int i = 0; i < 256; ++i) open += fcntl(i, F_GETFD) != -1;
  return open;
}

/// Runs `operation` in a child with the working directory `root`/work. Counts calls on paths under
/// `root`, on relative paths, and on descriptors that were opened by such a path.
ChildRun runInChild(const std::string& root, const std::function<Outcome()>& operation,
                    const Fault& fault = {}, std::vector<SystemCall>* record = nullptr);

}  // namespace tests
