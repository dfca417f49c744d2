// The peak memory of a query and a change, compared with the bare work.

#include <malloc.h>
#include <sys/mman.h>

#include <cstddef>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "BareWork.h"
#include "Comparison.h"
#include "Library.h"

namespace {

using bench::Library;

/// A value from /proc/self/status, in bytes.
double statusOf(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    double kib = 0;
    if (word == name + ":" && status >> kib) {
      return kib * 1024;
    }
  }
  throw std::runtime_error("no " + name + " in /proc/self/status");
}

/// Makes the system reclaim pages that earlier calls freed lazily: the next call would reuse them
/// and seem to need no memory.
void dropKeptPages() {
  std::ifstream mappings("/proc/self/smaps");
  char* mapping = nullptr;
  std::ptrdiff_t size = 0;
  for (std::string line; std::getline(mappings, line);) {
    void* begin = nullptr;
    void* end = nullptr;
    unsigned long kib = 0;
    if (std::sscanf(line.c_str(), "%p-%p ", &begin, &end) == 2) {
      mapping = static_cast<char*>(begin);
      size = static_cast<char*>(end) - mapping;
    } else if (std::sscanf(line.c_str(), "LazyFree: %lu", &kib) == 1 && kib > 0) {
      madvise(mapping, static_cast<std::size_t>(size), MADV_PAGEOUT);
    }
  }
}

double peakOf(const std::function<void()>& work) {
  malloc_trim(0);
  dropKeptPages();
  bench::require(static_cast<bool>(std::ofstream("/proc/self/clear_refs") << "5" << std::flush),
                 "resetting the peak");
  const double before = statusOf("VmRSS");
  work();
  return statusOf("VmHWM") - before;
}

void query(Library& library) {
  std::vector<LibElement> found;
  bench::require(library.catalogue().GetVirtualLibraryElements(library.key(), found), "a query");
}

void change(Library& library) {
  bench::require(library.catalogue().MoveVirtualLibraryElement(
                     library.key(), LIB_ELEM_SLOT, library.slots().back().elementAddress,
                     LIB_ELEM_DRIVE, Library::address(2)),
                 "a move");
}

void bareQuery(Library& library) {
  bench::parse(library.copy());
}

void bareChange(Library& library) {
  bench::parseAndReplace(library.copy());
}

void measure(const Place& place, const std::string& name, void (*call)(Library&),
             void (*bare)(Library&)) {
  for (const int elements : {1000, 10000, 50000}) {
    const auto setUp = [=, &place]() -> bench::Round {
      const auto library = std::make_shared<Library>(place, elements);
      bareQuery(*library);  // memory that is allocated only once must not be counted
      return [=](bool isCallFirst) {
        bench::Figures figures;
        for (const bool isCall : {isCallFirst, !isCallFirst}) {
          library->restore();
          (isCall ? figures.call : figures.bare) =
              peakOf([&] { (isCall ? call : bare)(*library); });
        }
        return figures;
      };
    };
    bench::compare("memory/" + name + "/" + std::to_string(elements), setUp)
        ->Iterations(1)
        ->Repetitions(bench::kSlowRepetitions);
  }
}

}  // namespace

void bench::registerMemory(const Place& place) {
  measure(place, "query", query, bareQuery);
  measure(place, "change", change, bareChange);
}
