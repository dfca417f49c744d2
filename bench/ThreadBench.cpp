// The same work on several threads at once, each with its own library or volume.
//
// Catalogue calls run one at a time, because they share gCriticalSection. Therefore their bare work
// uses a lock, too. "unlocked" compares with bare work without a lock and shows the cost of the
// lock.

#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "BareWork.h"
#include "Comparison.h"
#include "Library.h"
#include "Volume.h"

namespace {

using bench::Library;
using bench::Volume;

constexpr int kElements = 1000;
constexpr int kQueries = 2;  // of each thread in a round
constexpr int kBlocks = 256;
constexpr std::size_t kBlock = std::size_t{64} * 1024;

/// Does the work once for each object, each on its own thread.
template <class Object>
void onThreads(const std::vector<std::shared_ptr<Object>>& objects,
               const std::function<void(Object&)>& work) {
  std::vector<std::future<void>> threads;
  for (const auto& object : objects) {
    threads.push_back(std::async(std::launch::async, [&] { work(*object); }));
  }
  for (auto& thread : threads) {
    thread.get();
  }
}

template <class Object>
using Make = std::function<std::shared_ptr<Object>(int thread)>;

/// Registers a benchmark; `call` and `bare` each do `calls` steps.
template <class Object>
void measure(const std::string& name, const Make<Object>& make, int calls,
             const std::function<void(Object&)>& call, const std::function<void(Object&)>& bare) {
  for (const int threads : {1, 2, 4, 8}) {
    bench::compare("threads/" + name + "/" + std::to_string(threads), [=] {
      std::vector<std::shared_ptr<Object>> objects;
      for (int thread = 0; thread < threads; ++thread) {
        objects.push_back(make(thread));
      }
      bench::Pair pair;
      pair.call = [=] { onThreads<Object>(objects, call); };
      pair.bare = [=] { onThreads<Object>(objects, bare); };
      pair.calls = calls * threads;
      return bench::timed(pair);
    });
  }
}

void query(Library& library) {
  for (int i = 0; i < kQueries; ++i) {
    std::vector<LibElement> found;
    bench::require(library.catalogue().GetVirtualLibraryElements(library.key(), found), "a query");
  }
}

/// Moves a medium from its slot to a drive and back.
void move(Library& library) {
  const int slot = library.slots().back().elementAddress;
  const int drive = Library::address(2);
  bench::require(library.catalogue().MoveVirtualLibraryElement(library.key(), LIB_ELEM_SLOT, slot,
                                                               LIB_ELEM_DRIVE, drive) &&
                     library.catalogue().MoveVirtualLibraryElement(library.key(), LIB_ELEM_DRIVE,
                                                                   drive, LIB_ELEM_SLOT, slot),
                 "a move");
}

void parseUnlocked(const Library& library) {
  for (int i = 0; i < kQueries; ++i) {
    bench::parse(library.copy());
  }
}

std::mutex bareLock;

void parseInTurns(const Library& library) {
  for (int i = 0; i < kQueries; ++i) {
    const std::scoped_lock lock(bareLock);
    bench::parse(library.copy());
  }
}

void changeInTurns(const Library& library) {
  for (int i = 0; i < 2; ++i) {
    const std::scoped_lock lock(bareLock);
    bench::parseAndReplace(library.copy());
  }
}

std::function<void(Volume&)> onBlocks(void (Volume::*step)()) {
  return [=](Volume& volume) {
    for (int i = 0; i < kBlocks; ++i) {
      (volume.*step)();
    }
  };
}

}  // namespace

void bench::registerThreads(const Place& place) {
  const Make<Library> library = [&](int thread) {
    return std::make_shared<Library>(place, kElements, "thread" + std::to_string(thread));
  };
  measure<Library>("GetVirtualLibraryElements", library, kQueries, query, parseInTurns);
  measure<Library>("GetVirtualLibraryElements,unlocked", library, kQueries, query, parseUnlocked);
  measure<Library>("MoveVirtualLibraryElement", library, 2, move, changeInTurns);

  const Make<Volume> volume = [&](int thread) {
    place.configureTapes(true);
    return std::make_shared<Volume>("THREAD" + std::to_string(thread), 10, kBlock);
  };
  measure<Volume>("ReadDataForDrive", volume, kBlocks, onBlocks(&Volume::read),
                  onBlocks(&Volume::bareRead));
  measure<Volume>("WriteDataForDrive", volume, kBlocks, onBlocks(&Volume::write),
                  onBlocks(&Volume::bareWrite));
}
