// Alternates call and bare work, and prints the medians.

#include "Comparison.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>

namespace bench {
namespace {

void repeat(benchmark::State& state, const SetUp& setUp) {
  static bool isCallFirst = false;  // kept between repetitions, which may have one round only
  std::vector<double> call;
  std::vector<double> bare;
  try {
    const Round round = setUp();
    for (auto _ : state) {
      isCallFirst = !isCallFirst;
      const Figures figures = round(isCallFirst);
      call.push_back(figures.call);
      bare.push_back(figures.bare);
    }
    state.counters["call"] = median(call);
    state.counters["bare"] = median(bare);
    state.counters["ratio"] = median(call) / median(bare);
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
  }
}

}  // namespace

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

benchmark::internal::Benchmark* compare(const std::string& name, const SetUp& setUp) {
  return benchmark::RegisterBenchmark(name.c_str(), [=](auto& state) { repeat(state, setUp); })
      ->UseRealTime();
}

double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

Round timed(const Pair& pair) {
  return [pair](bool isCallFirst) {
    Figures figures;
    for (const bool isCall : {isCallFirst, !isCallFirst}) {
      pair.prepare();
      const double seconds = secondsOf(isCall ? pair.call : pair.bare) / pair.calls;
      (isCall ? figures.call : figures.bare) = seconds;
      if (isCall) {
        pair.check();
      }
    }
    return figures;
  };
}

bool Progress::ReportContext(const Context& context) {
  PrintBasicContext(&std::cerr, context);
  std::printf("%-56s %12s %12s %7s\n", "seconds, or bytes", "call", "bare", "ratio");
  return true;
}

void Progress::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    const bool isShown = run.repetitions <= 1 || run.aggregate_name == "median";
    if (run.error_occurred) {
      std::cerr << run.benchmark_name() << ": " << run.error_message << '\n';
      m_failed = true;
    } else if (isShown) {
      std::printf("%-56s %12.4g %12.4g %7.2f\n", run.run_name.function_name.c_str(),
                  run.counters.at("call").value, run.counters.at("bare").value,
                  run.counters.at("ratio").value);
      std::fflush(stdout);
    }
  }
}

}  // namespace bench
