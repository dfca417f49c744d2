// The traffic of an hour in minutes: hosts use one catalogue at the same time. At the end, checks
// that nothing is lost and that memory and descriptors of the process have not grown.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>
#include <unistd.h>

#include "Place.h"
#include "Traffic.h"

namespace {

constexpr std::uint64_t kFileSize = 4U << 20;

struct Footing {
  long descriptors;
  long residentKiB;
};

Footing footing() {
  const std::filesystem::directory_iterator open("/proc/self/fd");
  std::ifstream pages("/proc/self/statm");
  long total = 0;
  long resident = 0;
  pages >> total >> resident;
  return {std::distance(open, std::filesystem::directory_iterator()),
          resident * (sysconf(_SC_PAGESIZE) / 1024)};
}

/// Runs `rounds` rounds of each host on its own thread. False when one failed.
bool runAll(std::deque<Traffic>& hosts, int rounds) {
  std::vector<char> isRight(hosts.size(), 1);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < rounds && isRight[i] != 0; ++round) {
        isRight[i] = hosts[i].round() ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  return std::find(isRight.begin(), isRight.end(), 0) == isRight.end();
}

bool isLevel(const Footing& before, const Footing& after) {
  std::printf("descriptors %ld, then %ld; resident %ld KiB, then %ld KiB\n", before.descriptors,
              after.descriptors, before.residentKiB, after.residentKiB);
  return after.descriptors == before.descriptors &&
         after.residentKiB <= before.residentKiB + before.residentKiB / 10 + 4096;
}

/// The first tenth of the rounds warms the process up; growth after that is a leak.
bool run(int threads, int rounds, int files) {
  Traffic::registerLibrary(threads);
  std::deque<Traffic> hosts;
  for (int number = 0; number < threads; ++number) {
    hosts.emplace_back(number, files, kFileSize);
  }
  const int warmUp = rounds / 10 + 1;
  bool isRight = runAll(hosts, warmUp);
  const Footing before = footing();
  isRight = isRight && runAll(hosts, rounds - warmUp);
  isRight = isLevel(before, footing()) && isRight;
  std::uint64_t operations = 0;
  std::uint64_t bytes = 0;
  for (Traffic& host : hosts) {
    operations += host.operations();
    bytes += host.bytes();
    isRight = host.isAllThere() && isRight;
  }
  std::printf("%d hosts, %llu operations, %llu MiB of tape data: %s\n", threads,
              static_cast<unsigned long long>(operations),
              static_cast<unsigned long long>(bytes >> 20), isRight ? "all there" : "FAILED");
  return isRight;
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app("Puts load on one catalogue and checks the result");
  int threads = 8;
  int rounds = 250;
  int files = 128;
  app.add_option("--threads", threads, "number of hosts, each on its own thread")
      ->check(CLI::Range(1, 64));
  app.add_option("--rounds", rounds,
                 "rounds of each host, each with 10 operations on the catalogue");
  app.add_option("--files", files, "tape files of each host, 4 MiB each, one for each round")
      ->check(CLI::Range(0, 10000));
  CLI11_PARSE(app, argc, argv);
  const Place place;
  return run(threads, rounds, files) ? 0 : 1;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "%s\n", problem.what());
  return 1;
}
