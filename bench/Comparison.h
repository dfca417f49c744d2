// Benchmarks: each compares calls of the API with the bare work that they need at least.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

class Place;

namespace bench {

inline void require(bool succeeded, std::string_view what) {
  if (!succeeded) {
    throw std::runtime_error(std::string(what) + " failed");
  }
}

double median(std::vector<double> values);

/// The measured values of both: seconds, bytes of memory, or growth.
struct Figures {
  double call = 0;
  double bare = 0;
};

/// Does both once, the call first or last.
using Round = std::function<Figures(bool isCallFirst)>;

/// Prepares a repetition; not measured.
using SetUp = std::function<Round()>;

/// Registers a benchmark. The load of the machine may change, so call and bare work alternate
/// within each repetition, in changing order. A repetition sets the counters "call" and "bare" (the
/// medians of its rounds) and "ratio". An exception makes the run fail.
benchmark::internal::Benchmark* compare(const std::string& name, const SetUp& setUp);

/// A call and its bare work.
struct Pair {
  std::function<void()> call;
  std::function<void()> bare;
  std::function<void()> prepare = [] {};  ///< before each of the two, not timed
  std::function<void()> check = [] {};    ///< after the call, not timed
  int calls = 1;                          ///< number of calls in `call`; `bare` does as many
};

double secondsOf(const std::function<void()>& work);

/// A round that measures the time for one call of both.
Round timed(const Pair& pair);

/// Prints the medians of a benchmark as soon as it has run.
class Progress : public benchmark::BenchmarkReporter {
public:
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;

  bool failed() const { return m_failed; }

private:
  bool m_failed = false;
};

constexpr int kSlowRepetitions = 11;  // for slow benchmarks

void registerCatalogue(const Place& place);
void registerDrives(const Place& place);
void registerBlocks(const Place& place);
void registerThreads(const Place& place);
void registerMemory(const Place& place);

}  // namespace bench
