// Operations in a child process whose system calls on one folder are counted, recorded, refused.
//
// The kernel hands every call that the C library makes to a signal handler of the child, so that
// those from inside the C++ library and the XML library are met as well.
#pragma once

#include <fcntl.h>

#include <functional>
#include <string>
#include <vector>

namespace tests {

/// What befalls the `at`-th call, counted from 1.
struct Fault {
  enum Kind { None, Once, ForGood, Death } kind = None;
  int error = 0;  ///< what a refused call gives
  int at = 0;
};

/// What an operation gave. Plain bytes, for it crosses from one process to another.
struct Outcome {
  bool result = false;
  unsigned long count = 0;
  int code = 0;
  char data[16] = {};
};

/// A counted call as it was made.
struct SystemCall {
  long number, result, arguments[6];
  char path[200], secondPath[200];
  char data[16384];  ///< of a write
};

struct ChildRun {
  int status;       ///< of the process, as wait() gives it
  bool isDone;      ///< the operation returned
  bool hasLeaks;    ///< told under AddressSanitizer, for EIO once
  int descriptors;  ///< open after the operation and not before
  int calls;
  Outcome outcome;
};

inline int openDescriptors() {
  int open = 0;
  for (int i = 0; i < 256; ++i) open += fcntl(i, F_GETFD) != -1;
  return open;
}

bool canInterceptSystemCalls();

/// Runs `operation` in a child with the working directory `root`/work. Counted are calls on paths
/// under `root`, relative ones, and calls on what was opened by such a path.
ChildRun runInChild(const std::string& root, const std::function<Outcome()>& operation,
                    const Fault& fault = {}, std::vector<SystemCall>* record = nullptr);

}  // namespace tests
