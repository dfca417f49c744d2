// Every benchmark compares calls of the library with the bare work that they cannot do without.
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

/// What each of the two took: seconds, or bytes of memory; or how it grew.
struct Figures {
  double call = 0;
  double bare = 0;
};

/// Does both once, the call first or last.
using Round = std::function<Figures(bool isCallFirst)>;

/// Prepares a repetition, which is not measured.
using SetUp = std::function<Round()>;

/// Registers a benchmark. The machine may be busy with other things, so the two take turns within
/// each repetition, and which comes first changes. A repetition gives the counters "call", "bare"
/// (the medians of its rounds) and "ratio". What throws is an error of the run.
benchmark::internal::Benchmark* compare(const std::string& name, const SetUp& setUp);

struct Pair {
  std::function<void()> call;
  std::function<void()> bare;
  std::function<void()> prepare = [] {};  ///< before either, not timed
  std::function<void()> check = [] {};    ///< after the call, not timed
  int calls = 1;                          ///< how many `call` makes; `bare` works as often
};

double secondsOf(const std::function<void()>& work);

/// Times both, for each of the calls.
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

constexpr int kSlowRepetitions = 5;  // of what takes long

void registerCatalogue(const Place& place);
void registerDrives(const Place& place);
void registerBlocks(const Place& place);
void registerThreads(const Place& place);
void registerMemory(const Place& place);

}  // namespace bench
