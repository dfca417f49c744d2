#include <stdlib.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <xercesc/util/PlatformUtils.hpp>

#include "Pairs.h"

namespace {

/// A catalogue in a new folder beneath the current one: on the disk, where the temporary folder of
/// many systems is not.
class Place {
public:
  Place() : m_folder((std::filesystem::current_path() / "tq-bench-XXXXXX").string()) {
    if (mkdtemp(m_folder.data()) == nullptr) {
      throw std::runtime_error("cannot create " + m_folder);
    }
    const std::string configuration = m_folder + "/tqlib.ini";
    std::ofstream(configuration) << "[MediaManager]\nsVirtualLibXMLDirectory=" << m_folder << '\n';
    setenv("TQ_PLATFORM_CONFIG", configuration.c_str(), 1);
  }
  ~Place() {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
  }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

private:
  std::string m_folder;
};

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
