// Libraries for tests, registered as an emulator registers them, and their elements as short text.
#pragma once

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "TqLibEmulator.h"

namespace tests {

class LibraryBuilder {
public:
  explicit LibraryBuilder(const std::string& key) : m_library(device(key, 8, "/dev/sg3")) {
    m_library.Model = "VL-100";
    slots(1000, 0).mailSlots(10, 0).drives(500, 0);
  }

  LibraryBuilder& slots(int base, int count) {
    m_library.SlotBaseAddress = base;
    m_library.SlotCount = count;
    return *this;
  }
  LibraryBuilder& mailSlots(int base, int count) {
    m_library.IEPortBaseAddress = base;
    m_library.IEPortCount = count;
    return *this;
  }
  /// The library's map names the drives DRV0001, DRV0002 and so on.
  LibraryBuilder& drives(int base, int count) {
    m_library.DriveBaseAddress = base;
    m_library.DriveCount = count;
    m_library.DriveIdentifierMap.clear();
    for (int n = 1; n <= count; ++n) m_library.DriveIdentifierMap[n] = drive(n).SerialNumber;
    return *this;
  }
  LibraryBuilder& host(const std::string& name) {
    m_library.MAName = name;
    return *this;
  }

  SCSIUnit library() const { return m_library; }

  SCSIUnit drive(int number) const {
    const std::string digits = std::to_string(10000 + number).substr(1);
    SCSIUnit unit = device("DRV" + digits, 1, "/dev/nst" + std::to_string(number - 1));
    unit.MAName = m_library.MAName;
    return unit;
  }

  /// The library's record and those of its drives, ready for one batch.
  std::vector<SCSIUnitNoMap> batch() const {
    std::vector<SCSIUnitNoMap> all{m_library};
    for (int number = 1; number <= m_library.DriveCount; ++number) all.push_back(drive(number));
    return all;
  }

  void build() const {
    if (!TqLibEmulator().UpdateVirtualDevice(batch(), m_library.SerialNumber))
      throw std::runtime_error("cannot build library " + m_library.SerialNumber);
  }

private:
  static SCSIUnit device(const std::string& serial, int type, const std::string& path) {
    SCSIUnit unit;
    unit.MAName = "hosta";
    unit.Manufacturer = "ACME";
    unit.Model = "VT-9";
    unit.FirmwareRevision = "2.1";
    unit.SerialNumber = serial;
    unit.ScsiDeviceType = type;
    unit.AccessPath = path;
    unit.ScsiPort = '2';
    unit.Bus = 0;
    unit.Target = 1;
    unit.Lun = 0;
    return unit;
  }

  SCSIUnit m_library;
};

inline LibElement element(int type, int address, const std::string& barCode = "") {
  return {type, address, false, !barCode.empty(), barCode};
}

/// "type@address", and ":barcode" when the element is occupied.
inline std::string describe(const LibElement& e) {
  return std::to_string(e.elementType) + "@" + std::to_string(e.elementAddress) +
         (e.isOccupied ? ":" + e.barCode : "");
}

/// The elements that `text` describes, with white space between them.
inline std::vector<LibElement> described(const std::string& text) {
  std::vector<LibElement> all;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const std::size_t colon = word.find(':');
    const std::string barCode = colon == word.npos ? "" : word.substr(colon + 1);
    all.push_back(element(word[0] - '0', std::stoi(word.substr(2)), barCode));
  }
  return all;
}

/// The descriptions of all elements of a library, in the order of the query.
inline std::vector<std::string> elements(const std::string& key) {
  std::vector<LibElement> found;
  if (!TqLibEmulator().GetVirtualLibraryElements(key, found)) return {"refused"};
  std::vector<std::string> all(found.size());
  std::transform(found.begin(), found.end(), all.begin(), describe);
  return all;
}

/// Sets the one element that `text` describes.
inline bool setElement(const std::string& key, const std::string& text) {
  return TqLibEmulator().SetVirtualLibraryElement(key, described(text)[0], false);
}

inline std::string lastError(const MMS2BaseError& object) {
  std::vector<char> text(16384);
  object.getLastError(text.data(), static_cast<int>(text.size()));
  return text.data();
}

}  // namespace tests
