#include "catalogue/Catalogue.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>

#include "files/Names.h"
#include "catalogue/Configuration.h"
#include "catalogue/XmlScan.h"

namespace fs = std::filesystem;

namespace {

constexpr int kOtherLibrary = 50008;

/// None when the file cannot be read: nothing in it answers then.
std::vector<std::string> driveNames(const std::string& library) {
  try {
    return attributeValues(libraryFile(library), names::drive, names::name);
  } catch (const Failure&) {
    return {};
  }
}

template <typename Wanted>
const SCSIUnitNoMap* find(const std::vector<SCSIUnitNoMap>& devices, Wanted wanted) {
  const auto found = std::find_if(devices.begin(), devices.end(), wanted);
  return found == devices.end() ? nullptr : &*found;
}

}  // namespace

void asOneStep(const std::function<void()>& steps) {
  TqLibEmulator emulator;
  bool isBegun = false;
  emulator.ChangeCatalogue([&] {
    isBegun = true;
    steps();
    return true;
  });
  if (!isBegun) throw libraryFailure("the catalogue cannot be changed", emulator);
}

void requireSaved(const TqLibEmulator& emulator, const std::string& what) {
  const std::string reason = emulator.saveError();
  if (!reason.empty()) throw Failure(what + " was not saved: " + reason);
}

// The device query names the listed libraries too, but stops at the first one that is broken, when
// an operator wants to see the list most.
std::vector<std::string> listedLibraries() {
  const std::string list = catalogueFolder() + names::listFile;
  if (!TqLibEmlFile::IsFilePresent(list)) return {};
  try {
    return attributeValues(list, names::library, names::id);
  } catch (const Failure& failure) {
    throw Failure(failure.what(), "mend the list, or write it anew");
  }
}

bool isListed(const std::string& library) {
  const std::vector<std::string> listed = listedLibraries();
  return std::find(listed.begin(), listed.end(), library) != listed.end();
}

std::vector<std::string> storedLibraries() {
  std::set<std::string> keys;
  for (const fs::directory_entry& entry : fs::directory_iterator(catalogueFolder())) {
    const std::string key = names::keyOf(entry.path().filename().string());
    if (!key.empty()) keys.insert(key);
  }
  return {keys.begin(), keys.end()};
}

RemovedLibrary::RemovedLibrary(const std::string& library)
    : Failure("library " + library + " was removed, and its file stayed: " + libraryFile(library),
              purgeCommand(library) + " deletes the file") {}

Failure listedOnly(const std::string& library) {
  return Failure("library " + library + " is listed without a file",
                 purgeCommand(library) + " takes it off the list");
}

std::string purgeCommand(const std::string& library) {
  return "\"tqlib library remove " + library + " --purge\"";
}

// The library has no code and one message for a file with none and one with several.
bool wasRemoved(const std::string& library) {
  TqLibEmulator emulator;
  std::vector<LibElement> ignored;
  return !emulator.GetVirtualLibraryElements(library, ignored) && emulator.getErrorCode() == 0 &&
         countElements(libraryFile(library), names::library) == 0;
}

// The status is the one query that tells whether the library in the file has this serial number,
// whatever hosts see it. Were it another, a removal would be taken for that of a drive.
void requireWholeLibrary(const std::string& library) {
  inventory(library);
  TqLibEmulator emulator;
  int status = 0;
  int asc = 0;
  int ascq = 0;
  if (!emulator.GetVirtualDeviceStatus(library, status, asc, ascq, true) &&
      emulator.getErrorCode() == kOtherLibrary) {
    throw libraryFailure("the file of library " + library + " is that of another one", emulator);
  }
}

std::vector<std::string> hostsOf(const std::string& library) {
  std::vector<std::string> hosts;
  std::set<std::string> seen;
  for (const XMLCh* unit : {names::libraryScsiUnit, names::driveScsiUnit}) {
    for (const std::string& host : attributeValues(libraryFile(library), unit, names::maName)) {
      if (seen.insert(folded(host)).second) hosts.push_back(host);
    }
  }
  return hosts;
}

std::vector<LibElement> inventory(const std::string& library) {
  requireLibrary(library);
  TqLibEmulator emulator;
  std::vector<LibElement> elements;
  if (emulator.GetVirtualLibraryElements(library, elements)) return elements;
  if (wasRemoved(library)) throw RemovedLibrary(library);
  throw libraryFailure("library " + library + " cannot be read", emulator);
}

std::vector<SCSIUnitNoMap> devicesOf(const std::string& library, const std::string& host) {
  TqLibEmulator emulator;
  std::vector<SCSIUnitNoMap> devices;
  if (!emulator.GetVirtualDeviceInfo(host, devices, library)) {
    throw libraryFailure("the devices of library " + library + " cannot be read", emulator);
  }
  return devices;
}

bool isLibrary(const SCSIUnitNoMap& device) {
  return device.ScsiDeviceType == kMediumChanger;
}

const SCSIUnitNoMap* findDrive(const std::vector<SCSIUnitNoMap>& devices,
                               const std::string& serial) {
  return find(devices, [&](const SCSIUnitNoMap& device) {
    return !isLibrary(device) && device.SerialNumber == serial;
  });
}

const SCSIUnitNoMap* findLibrary(const std::vector<SCSIUnitNoMap>& devices) {
  return find(devices, isLibrary);
}

std::string folded(std::string serial) {
  std::transform(serial.begin(), serial.end(), serial.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return serial;
}

void updateDevices(const std::vector<SCSIUnitNoMap>& batch, const std::string& library,
                   const std::string& what) {
  TqLibEmulator emulator;
  bool updated = false;
  try {
    updated = emulator.UpdateVirtualDevice(batch, library);
  } catch (const std::exception& error) {
    throw Failure(what + ": " + error.what());
  }
  if (!updated) throw libraryFailure(what, emulator);
  requireSaved(emulator, "library " + library);
}

void refuseDrivesElsewhere(const std::vector<std::string>& serials, const std::string& library) {
  std::set<std::string> wanted;
  for (const std::string& serial : serials) wanted.insert(folded(names::drivePrefix + serial));
  for (const std::string& other : listedLibraries()) {
    if (other == library) continue;
    for (const std::string& name : driveNames(other)) {
      if (!wanted.contains(folded(name))) continue;
      throw Failure("another library has a drive of that serial number: " + other,
                    "\"tqlib library show " + other + "\" names it");
    }
  }
}
