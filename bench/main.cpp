#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <xercesc/util/PlatformUtils.hpp>

#include "Pairs.h"
#include "Place.h"

namespace {

int run(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  std::string repetitions = "--benchmark_repetitions=9";
  arguments.insert(arguments.begin() + 1, repetitions.data());  // a later one wins
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
    return 2;
  }
  const Place place;
  bench::registerCatalogue();
  bench::registerVolume();
  bench::PairTable table;
  const std::size_t matched = benchmark::RunSpecifiedBenchmarks(&table);
  return matched == 0 || table.failed() ? 1 : 0;
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
