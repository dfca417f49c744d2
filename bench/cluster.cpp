// The program that scripts/cluster runs on each machine of a cluster: moves without a pause, and
// queries after a change by another machine.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "TqLibEmulator.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kLongestStaleTime = 10'000;  // milliseconds

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void require(bool isRight, const char* what) {
  if (!isRight) throw std::runtime_error(what);
}

/// A range of slots whose media only this process moves, with the expected content.
class Range {
public:
  Range(const std::string& library, int first)
      : m_library(library), m_first(first), m_expected(read()) {
    if (m_expected.empty()) fill();
  }

  /// Moves the next medium to the next free slot behind it.
  void move() {
    const int from = next(m_last + 1, true);
    const int to = next(from, false);
    const Clock::time_point start = Clock::now();
    const bool isDone = m_catalogue.MoveVirtualLibraryElement(
        m_library, LIB_ELEM_SLOT, m_first + from, LIB_ELEM_SLOT, m_first + to);
    m_longest = std::max(m_longest, millisecondsSince(start));
    m_last = from;
    if (isDone && m_catalogue.saveError().empty()) {
      auto medium = m_expected.extract(from);
      medium.key() = to;
      m_expected.insert(std::move(medium));
      ++m_done;
      return;
    }
    ++m_refused;
    const Media found = read();
    for (const auto& each : found) {
      m_lost += std::count(m_expected.begin(), m_expected.end(), each) == 0 ? 1 : 0;
    }
    m_expected = found;
  }

  /// Prints the counters, then each medium with its expected slot.
  void print() const {
    std::printf("# %d %d %d %.0f\n", m_done, m_refused, m_lost, m_longest);
    for (const auto& [slot, barCode] : m_expected) {
      std::printf("slot:%d %s\n", m_first + slot, barCode.c_str());
    }
  }

private:
  static constexpr int kSlots = 25;
  static constexpr int kMedia = 7;  // no divisor of kSlots, so each round ends in other slots
  using Media = std::map<int, std::string>;  // barcodes by slot, counted from the first

  int next(int slot, bool isOccupied) const {
    for (int i = slot; i < slot + kSlots; ++i) {
      if (m_expected.contains(i % kSlots) == isOccupied) return i % kSlots;
    }
    throw std::runtime_error("all slots of the range are free, or none is");
  }

  Media read() {
    std::vector<LibElement> all;
    require(m_catalogue.GetVirtualLibraryElements(m_library, all), "cannot read the library");
    Media found;
    for (const LibElement& element : all) {
      const int slot = element.elementAddress - m_first;
      if (element.elementType == LIB_ELEM_SLOT && slot >= 0 && slot < kSlots &&
          !element.barCode.empty()) {
        found[slot] = element.barCode;
      }
    }
    return found;
  }

  void fill() {
    std::vector<LibElement> media;
    for (int i = 0; i < kMedia; ++i) {
      m_expected[i] = "M" + std::to_string(m_first + i);
      media.push_back({LIB_ELEM_SLOT, m_first + i, true, true, m_expected[i]});
    }
    require(m_catalogue.SetVirtualLibraryElement(m_library, media, false), "cannot set the media");
  }

  TqLibEmulator m_catalogue;
  std::string m_library;
  int m_first;
  int m_last = -1;
  int m_done = 0;
  int m_refused = 0;
  int m_lost = 0;  // reported as done, then undone by the save of another process
  double m_longest = 0;
  Media m_expected;
};

/// Milliseconds until a query shows a medium at the address; 0 when the first one does.
double staleTime(TqLibEmulator& catalogue, const std::string& library, int address) {
  const Clock::time_point start = Clock::now();
  for (double stale = 0;; stale = millisecondsSince(start)) {
    std::vector<LibElement> all;
    const bool isRead = catalogue.GetVirtualLibraryElements(library, all);
    const bool isThere = std::any_of(all.begin(), all.end(), [&](const LibElement& e) {
      return e.elementAddress == address && e.isOccupied;
    });
    if ((isRead && isThere) || stale > kLongestStaleTime) return stale;
  }
}

/// Runs on the machine that queries: answers each address with its stale time.
void answer(const std::string& library, int in, int out) {
  TqLibEmulator catalogue;
  for (int address = 0; read(in, &address, sizeof address) == sizeof address;) {
    const double stale = staleTime(catalogue, library, address);
    require(write(out, &stale, sizeof stale) == sizeof stale, "cannot answer");
  }
}

/// Prints how many queries were up to date, their total number, and the longest stale time in
/// milliseconds.
void compare(const std::string& library, const std::string& other, int from, int to, int rounds) {
  int there[2];
  int back[2];
  require(pipe2(there, O_CLOEXEC) == 0 && pipe2(back, O_CLOEXEC) == 0, "no pipe");
  const pid_t child = fork();
  if (child == 0) {
    close(there[1]);
    setenv("TQ_PLATFORM_CONFIG", other.c_str(), 1);
    answer(library, there[0], back[1]);
    _exit(0);
  }
  close(back[1]);
  int fresh = 0;
  double longest = 0;
  TqLibEmulator catalogue;
  for (int round = 0; round < rounds; ++round, std::swap(from, to)) {
    double stale = 0;
    require(catalogue.MoveVirtualLibraryElement(library, LIB_ELEM_SLOT, from, LIB_ELEM_SLOT, to),
            "a move failed");
    require(write(there[1], &to, sizeof to) == sizeof to &&
                read(back[0], &stale, sizeof stale) == sizeof stale,
            "the querying process has ended");
    fresh += stale > 0 ? 0 : 1;
    longest = std::max(longest, stale);
  }
  close(there[1]);
  waitpid(child, nullptr, 0);
  std::printf("%d %d %.0f\n", fresh, rounds, longest);
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app("The part of a cluster check that runs on one machine");
  std::string library;
  std::string other;
  int first = 0;
  int count = 0;
  app.add_option("library", library)->required();
  app.add_option("first", first, "address of the first slot")->required();
  app.add_option("count", count, "how many moves")->required();
  app.add_option("--query", other, "configuration of a machine that queries after each move");
  CLI11_PARSE(app, argc, argv);
  if (!other.empty()) {
    compare(library, other, first, first + 1, count);
    return 0;
  }
  Range range(library, first);
  for (int i = 0; i < count; ++i) range.move();
  range.print();
  return 0;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "%s\n", problem.what());
  return 1;
}
