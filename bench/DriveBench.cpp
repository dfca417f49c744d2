// Registering drives with a library that has none: with one call for each drive, and as one batch.

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "BareWork.h"
#include "Comparison.h"
#include "Place.h"
#include "TqLibEmulator.h"
#include "tests/LibraryBuilder.h"

namespace {

namespace fs = std::filesystem;

constexpr int kFirstDrive = 5000;
constexpr int kMostSamples = 100;

/// A library without drives whose map holds all drives that will be registered.
class Registration {
public:
  Registration(const Place& place, int drives)
      : m_key(std::string("LIBwith").append(std::to_string(drives))),
        m_file(place.folder() + "/LibEmulator/Lib_" + m_key + ".xml"),
        m_list(place.folder() + "/LibEmulator/LibraryList.xml"),
        m_copy(place.folder() + "/" + m_key + ".xml") {
    const tests::LibraryBuilder library =
        tests::LibraryBuilder(m_key).slots(1000, 10).drives(kFirstDrive, drives);
    m_batch = library.batch();
    begin();
  }

  /// Leaves the library without drives.
  void begin() {
    fs::remove(m_file);
    fs::remove(m_list);
    bench::require(m_catalogue.UpdateVirtualDevice(m_batch.front(), m_key), "making " + m_key);
  }

  int drives() const { return static_cast<int>(m_batch.size()) - 1; }

  void registerDrive(int number) {
    const SCSIUnitNoMap& drive = m_batch[static_cast<std::size_t>(number)];
    bench::require(m_catalogue.UpdateVirtualDevice(drive, m_key), "registering a drive");
  }

  void registerAll() {
    bench::require(m_catalogue.UpdateVirtualDevice(m_batch, m_key), "registering all drives");
  }

  /// Fails unless the file holds all drives.
  void check() {
    std::vector<SCSIUnitNoMap> found;
    bench::require(
        m_catalogue.GetVirtualDeviceInfo("", found, m_key) && found.size() == m_batch.size(),
        "saving the drives");
  }

  /// Gives the bare work a link to the current file.
  void copy() const {
    fs::remove(m_copy);
    fs::create_hard_link(m_file, m_copy);
  }

  void bare() const { bench::parseAndReplace(m_copy); }

private:
  TqLibEmulator m_catalogue;
  std::string m_key;
  std::string m_file;
  std::string m_list;
  std::string m_copy;
  std::vector<SCSIUnitNoMap> m_batch;
};

using Made = std::shared_ptr<Registration>;

/// All calls together. The bare work, on the file as each call finds it, is that of all calls too,
/// as it follows from a part of them, taken evenly.
bench::Figures registerOneByOne(Registration& registration, bool isCallFirst) {
  const int step = (registration.drives() + kMostSamples - 1) / kMostSamples;
  bench::Figures figures;
  registration.begin();
  for (int number = 1; number <= registration.drives(); ++number) {
    const auto call = [&] { registration.registerDrive(number); };
    if (number % step != step / 2) {
      figures.call += bench::secondsOf(call);
      continue;
    }
    registration.copy();
    const bench::Figures both = bench::timed({call, [&] { registration.bare(); }})(isCallFirst);
    isCallFirst = !isCallFirst;
    figures.call += both.call;
    figures.bare += both.bare * step;
  }
  registration.check();
  return figures;
}

/// The bare work writes the finished file once and reads it once, for the one call.
bench::Round batchRound(const Made& registration) {
  registration->registerAll();
  registration->copy();
  return bench::timed({[=] { registration->registerAll(); }, [=] { registration->bare(); },
                       [=] { registration->begin(); }, [=] { registration->check(); }});
}

}  // namespace

void bench::registerDrives(const Place& place) {
  for (const int drives : {1, 10, 100, 500, 2000}) {
    const std::string count = std::to_string(drives);
    auto* const single = compare("drives/one-by-one/" + count, [=, &place] {
      const auto registration = std::make_shared<Registration>(place, drives);
      return [=](bool isCallFirst) { return registerOneByOne(*registration, isCallFirst); };
    });
    if (drives >= 500) {
      single->Repetitions(drives == 500 ? 3 : 1);
    }
    compare("drives/batch/" + count,
            [=, &place] { return batchRound(std::make_shared<Registration>(place, drives)); });
  }
}
