// every_flip FILE WHERE-TO-KEEP-A-FINDING STEP: runs a fuzz target on every prefix and every
// single-bit flip of one file, or on each STEP-th of them. A fuzzer, which chooses by chance, would
// not try all of them.

#include <fcntl.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <sanitizer/common_interface_defs.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Scratch.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr time_t kSecondsForAnInput = 2;

std::string input;
const char* finding = nullptr;

/// Also called in signal handlers.
void keepInput() {
  const int file = ::open(finding, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0 || ::write(file, input.data(), input.size()) < 0) {
    ::_exit(2);
  }
  ::close(file);
  ::dprintf(STDERR_FILENO, "Test unit written to %s\n", finding);
}

void keepInputAndDie(int signal) {
  keepInput();
  ::signal(signal, SIG_DFL);
  ::raise(signal);
}

/// Limits the processor time: on a busy machine, elapsed time says little.
void limit(time_t seconds) {
  const itimerval once{{0, 0}, {seconds, 0}};
  ::setitimer(ITIMER_PROF, &once, nullptr);
}

void run() {
  limit(kSecondsForAnInput);
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
  limit(0);
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t step = argc == 4 ? std::strtoul(argv[3], nullptr, 10) : 0;
  if (step == 0) {
    std::fprintf(stderr, "usage: every_flip FILE WHERE-TO-KEEP-A-FINDING STEP\n");
    return 2;
  }
  const std::string whole = fuzz::readFile(argv[1]);
  finding = argv[2];
  __sanitizer_set_death_callback(&keepInput);
  ::signal(SIGABRT, &keepInputAndDie);
  ::signal(SIGPROF, &keepInputAndDie);

  std::size_t count = 0;
  for (std::size_t length = 0; length <= whole.size(); length += step, ++count) {
    input = whole.substr(0, length);
    run();
  }
  for (std::size_t bit = 0; bit < whole.size() * CHAR_BIT; bit += step, ++count) {
    input = whole;
    char& byte = input[bit / CHAR_BIT];
    byte = static_cast<char>(byte ^ 1 << bit % CHAR_BIT);
    run();
  }
  std::printf("%zu inputs\n", count);
  return 0;
}
