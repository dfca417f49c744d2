// Libraries for tests, registered the way an emulator registers them.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "TqLibEmulator.h"

namespace tests {

class LibraryBuilder {
public:
  explicit LibraryBuilder(std::string key) : m_key(std::move(key)) {}

  LibraryBuilder& slots(int base, int count) {
    m_slotBase = base;
    m_slots = count;
    return *this;
  }
  LibraryBuilder& mailSlots(int base, int count) {
    m_mailBase = base;
    m_mailSlots = count;
    return *this;
  }
  LibraryBuilder& drives(int base, int count) {
    m_driveBase = base;
    m_drives = count;
    return *this;
  }
  LibraryBuilder& host(const std::string& name) {
    m_host = name;
    return *this;
  }

  /// The library's record; its map names the drives DRV0001, DRV0002 and so on.
  SCSIUnit library() const {
    SCSIUnit unit = device(m_key, 8, "/dev/sg3");
    unit.Model = "VL-100";
    unit.SlotCount = m_slots;
    unit.SlotBaseAddress = m_slotBase;
    unit.IEPortCount = m_mailSlots;
    unit.IEPortBaseAddress = m_mailBase;
    unit.DriveCount = m_drives;
    unit.DriveBaseAddress = m_driveBase;
    for (int number = 1; number <= m_drives; ++number)
      unit.DriveIdentifierMap[number] = driveSerial(number);
    return unit;
  }

  SCSIUnit drive(int number) const {
    return device(driveSerial(number), 1, "/dev/nst" + std::to_string(number - 1));
  }

  /// The library's record and those of its drives, ready for one batch.
  std::vector<SCSIUnitNoMap> batch() const {
    std::vector<SCSIUnitNoMap> all{library()};
    for (int number = 1; number <= m_drives; ++number) all.push_back(drive(number));
    return all;
  }

  void build() const {
    TqLibEmulator emulator;
    if (!emulator.UpdateVirtualDevice(batch(), m_key))
      throw std::runtime_error("cannot build library " + m_key);
  }

private:
  static std::string driveSerial(int number) {
    const std::string digits = std::to_string(number);
    return "DRV" + std::string(digits.size() < 4 ? 4 - digits.size() : 0, '0') + digits;
  }

  SCSIUnit device(const std::string& serial, int type, const std::string& path) const {
    SCSIUnit unit;
    unit.MAName = m_host;
    unit.Manufacturer = "ACME";
    unit.Model = "VT-9";
    unit.FirmwareRevision = "2.1";
    unit.SerialNumber = serial;
    unit.ScsiDeviceType = type;
    unit.AccessPath = path;
    unit.ScsiPort = "2";
    unit.Bus = 0;
    unit.Target = 1;
    unit.Lun = 0;
    return unit;
  }

  std::string m_key;
  std::string m_host = "hosta";
  int m_slotBase = 1000, m_slots = 0;
  int m_mailBase = 10, m_mailSlots = 0;
  int m_driveBase = 500, m_drives = 0;
};

inline LibElement element(int type, int address, const std::string& barCode = "") {
  return {type, address, false, !barCode.empty(), barCode};
}

/// "type@address", and ":barcode" when the element is occupied.
inline std::string describe(const LibElement& e) {
  return std::to_string(e.elementType) + "@" + std::to_string(e.elementAddress) +
         (e.isOccupied ? ":" + e.barCode : "");
}

/// The descriptions of all elements of a library, in the order of the query.
inline std::vector<std::string> elements(const std::string& key) {
  TqLibEmulator emulator;
  std::vector<LibElement> found;
  if (!emulator.GetVirtualLibraryElements(key, found)) return {"refused"};
  std::vector<std::string> all;
  for (const LibElement& e : found) all.push_back(describe(e));
  return all;
}

inline std::string lastError(const MMS2BaseError& object) {
  std::vector<char> text(16384);
  object.getLastError(text.data(), static_cast<int>(text.size()));
  return text.data();
}

}  // namespace tests
