// The devices in a library file, with the hosts that see them, from one reading.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "catalogue/Catalogue.h"

/// The library itself, or one of its drives.
struct Device {
  SCSIUnitFields record;  ///< identity, device type; a library's ranges, a drive's address
  std::vector<SCSIUnitFields> hosts;  ///< those that see it, each with its own addressing
  LibElement element = {};            ///< a drive's place and content
};

struct LibraryDevices {
  Device library;
  std::vector<Device> drives;  ///< in the order of the file, also those outside the library
};

/// Both throw Failure when the library cannot be read.
LibraryDevices devicesIn(const xercesc::DOMDocument* document, const std::string& library);
LibraryDevices devicesIn(const std::string& library);

/// `record` as `host` sees it.
SCSIUnit unitOf(const SCSIUnitFields& record, const SCSIUnitFields& host);

/// The unit of that host; null when it does not see the device.
const SCSIUnitFields* findHost(const Device& device, const std::string& host);

/// The unit of that host. Throws Failure when it does not see the device.
const SCSIUnitFields& unitFor(const Device& device, const std::string& host);

/// The drive of that serial number, found as the API does. Throws Failure when there is none.
const Device& driveIn(const LibraryDevices& devices, const std::string& serial);

/// The drive's number in the library's map, from 1; smaller for a drive that is not placed.
std::int64_t numberOf(const SCSIUnitFields& library, const Device& drive);

/// The library as a host sees it, with the map of all its drives.
SCSIUnit libraryUnit(const SCSIUnitFields& library, const std::vector<Device>& drives,
                     const SCSIUnitFields& host);

/// What each host sees: the drives, then the library. The key is the folded name of the host.
std::map<std::string, std::vector<SCSIUnit>> unitsByHost(const LibraryDevices& devices);

/// Calls `use` for that library, or for all listed ones when it is empty. A failure does not hide
/// the others: the first one is returned.
std::optional<Failure> forEachLibrary(const std::string& library,
                                      const std::function<void(const std::string&)>& use);
