// Registers all benchmarks and runs them in one catalogue directory.

#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XercesVersion.hpp>

#include "Comparison.h"
#include "Place.h"

namespace {

int run(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  std::string defaults[] = {"--benchmark_repetitions=9", "--benchmark_min_time=0.05"};
  for (std::string& each : defaults) {
    arguments.insert(arguments.begin() + 1, each.data());  // later arguments override these
  }
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
    return 2;
  }
  benchmark::AddCustomContext("xerces", XERCES_FULLVERSIONDOT);
  const Place place;
  bench::registerCatalogue(place);
  bench::registerDrives(place);
  bench::registerBlocks(place);
  bench::registerThreads(place);
  bench::registerMemory(place);
  Place::waitForConfiguration();
  bench::Progress progress;
  const std::size_t matched = benchmark::RunSpecifiedBenchmarks(&progress);
  return matched == 0 || progress.failed() ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    xercesc::XMLPlatformUtils::Initialize();
    const int result = run(argc, argv);
    xercesc::XMLPlatformUtils::Terminate();
    return result;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
