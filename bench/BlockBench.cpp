// Blocks of a tape, compared with the bare system calls on the same file. The C functions create an
// object for each call; the methods are measured without that. The C functions always check whether
// the configuration has changed, and so do the methods if no tape directory is configured. In these
// cases the bare work includes a check, too.

#include <memory>
#include <string>

#include "Comparison.h"
#include "Place.h"
#include "Volume.h"

namespace {

using bench::Volume;

struct Operation {
  const char* name;
  void (Volume::*call)();
  void (Volume::*bare)();
  void (Volume::*bareInDefaultPlace)();
};

const Operation kOperations[] = {
    {"ReadDataForDrive", &Volume::read, &Volume::bareRead, &Volume::bareReadWithLook},
    {"WriteDataForDrive", &Volume::write, &Volume::bareWrite, &Volume::bareWriteWithLook},
    {"DirectReadDataForDrive", &Volume::directRead, &Volume::bareReadWithLook,
     &Volume::bareReadWithLook},
    {"DirectWriteDataForDrive", &Volume::directWrite, &Volume::bareWriteWithLook,
     &Volume::bareWriteWithLook},
};

/// Several calls are timed together, because one may take only a few microseconds.
constexpr int kCalls = 16;

void repeat(Volume& volume, void (Volume::*work)()) {
  for (int i = 0; i < kCalls; ++i) {
    (volume.*work)();
  }
}

void measure(const Place& place, const Operation& operation, int files, int kib, bool isApart) {
  const std::string where = isApart ? "" : ",default-place";
  const std::string name = std::string("blocks/") + operation.name + where + "/" +
                           std::to_string(files) + "/" + std::to_string(kib) + "KiB";
  bench::compare(name, [=, &place, &operation] {
    place.configureTapes(isApart);
    const auto volume = std::make_shared<Volume>("VOL" + std::to_string(files), files,
                                                 static_cast<std::size_t>(kib) * 1024);
    bench::Pair pair;
    pair.call = [=, &operation] { repeat(*volume, operation.call); };
    const auto bare = isApart ? operation.bare : operation.bareInDefaultPlace;
    pair.bare = [=] { repeat(*volume, bare); };
    pair.calls = kCalls;
    return bench::timed(pair);
  });
}

}  // namespace

void bench::registerBlocks(const Place& place) {
  for (const Operation& operation : kOperations) {
    for (const int files : {1, 10, 100, 1000}) {
      for (const int kib : {4, 16, 64, 256, 1024}) {
        measure(place, operation, files, kib, true);
      }
    }
    measure(place, operation, 1, 64, false);
  }
}
