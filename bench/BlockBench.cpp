// Blocks of a tape, each beside the bare system calls on the same file. The two C functions make an
// object for each call, which the methods are measured without. They have to look whether the
// configuration has changed, as the methods have in the default place, for it says where that is;
// so there the bare work has a look as well.

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

/// Several at a time, since one may take a few microseconds.
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
