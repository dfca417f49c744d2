// Six operations whose instructions callgrind counts, without those of the kernel. scripts/count
// runs this program and compares the counts.

#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gnu/libc-version.h>
#include <valgrind/callgrind.h>
#include <xercesc/util/XercesVersion.hpp>

#include "Place.h"
#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"

namespace {

constexpr int kDrives = 20;
constexpr int kSlots = 980;
constexpr int kFirstDrive = 500;
constexpr int kFirstSlot = 1000;
constexpr int kBatch = 100;
constexpr int kFileMarks = 100;
constexpr std::size_t kBlock = std::size_t{64} * 1024;
constexpr char kVolume[] = "VOLUME";

// Each operation has its own library, so they do not influence each other. Operations that change
// something change it each time: a later version might skip a change without effect.
class Operations {
public:
  Operations();

  bool query();
  bool move();
  bool set();
  bool registerBatch();
  bool read();
  bool write() { return writeTo(kFileMarks / 2); }

private:
  bool addLibrary(const std::string& key, int drives, int slots);
  bool fill(const std::string& key, int drives, char initial);
  bool writeTo(int fileMark);

  TqLibEmulator m_catalogue;
  std::vector<unsigned char> m_block;
  bool m_isInDrive = false;
  char m_initial = 'A';
  int m_batches = 0;
};

Operations::Operations() : m_block(kBlock, 'x') {
  bool isMade = true;
  for (const std::string key : {"QUERY", "MOVE", "SET"}) {
    const int fullDrives = key == "MOVE" ? 0 : kDrives;
    isMade = isMade && addLibrary(key, kDrives, kSlots) && fill(key, fullDrives, m_initial);
  }
  for (int fileMark = 0; fileMark < kFileMarks; ++fileMark) {
    isMade = isMade && writeTo(fileMark);
  }
  if (!isMade) {
    throw std::runtime_error("cannot make the libraries and the volume");
  }
}

bool Operations::addLibrary(const std::string& key, int drives, int slots) {
  SCSIUnit library;
  library.ScsiDeviceType = 8;
  library.SerialNumber = key;
  library.MAName = "host";
  library.DriveBaseAddress = kFirstDrive;
  library.DriveCount = drives;
  library.SlotBaseAddress = kFirstSlot;
  library.SlotCount = slots;
  std::vector<SCSIUnitNoMap> devices(1);
  for (int number = 1; number <= drives; ++number) {
    SCSIUnit drive;
    drive.ScsiDeviceType = 1;
    drive.SerialNumber = key + "D" + std::to_string(number);
    drive.MAName = "host";
    library.DriveIdentifierMap[number] = drive.SerialNumber;
    devices.emplace_back(drive);
  }
  devices.front() = library;
  return m_catalogue.UpdateVirtualDevice(devices, key);
}

/// Puts media into all slots and the first `drives` drives; their barcodes begin with `initial`.
bool Operations::fill(const std::string& key, int drives, char initial) {
  std::vector<LibElement> elements;
  const auto add = [&](int type, int address) {
    const std::string number = std::to_string(100000 + elements.size());
    elements.push_back({type, address, true, true, initial + number});
  };
  for (int i = 0; i < drives; ++i) {
    add(LIB_ELEM_DRIVE, kFirstDrive + i);
  }
  for (int i = 0; i < kSlots; ++i) {
    add(LIB_ELEM_SLOT, kFirstSlot + i);
  }
  return m_catalogue.SetVirtualLibraryElement(key, elements, false);
}

bool Operations::query() {
  std::vector<LibElement> elements;
  return m_catalogue.GetVirtualLibraryElements("QUERY", elements) &&
         elements.size() == kDrives + kSlots;
}

/// Moves a medium from a slot in the middle to a drive in the middle, or back.
bool Operations::move() {
  int fromType = LIB_ELEM_SLOT;
  int from = kFirstSlot + kSlots / 2;
  int toType = LIB_ELEM_DRIVE;
  int to = kFirstDrive + kDrives / 2;
  if (m_isInDrive) {
    std::swap(fromType, toType);
    std::swap(from, to);
  }
  m_isInDrive = !m_isInDrive;
  return m_catalogue.MoveVirtualLibraryElement("MOVE", fromType, from, toType, to);
}

bool Operations::set() {
  m_initial = m_initial == 'A' ? 'B' : 'A';
  return fill("SET", kDrives, m_initial);
}

bool Operations::registerBatch() {
  return addLibrary("BATCH" + std::to_string(m_batches++), kBatch, 0);
}

bool Operations::read() {
  unsigned long count = 0;
  return DirectReadDataForDrive(kVolume, kFileMarks / 2, 0, m_block.data(), kBlock, &count, nullptr,
                                nullptr, 0) == 1 &&
         count == kBlock;
}

bool Operations::writeTo(int fileMark) {
  unsigned long count = 0;
  return DirectWriteDataForDrive(kVolume, fileMark, 0, m_block.data(), kBlock, &count, nullptr,
                                 nullptr, 0) == 1 &&
         count == kBlock;
}

/// Counts the third call: it does not include one-time work, and a move has been done in both
/// directions before.
void count(const char* name, Operations& operations, bool (Operations::*operation)()) {
  bool isRight = (operations.*operation)() && (operations.*operation)();
  CALLGRIND_START_INSTRUMENTATION;
  isRight = (operations.*operation)() && isRight;
  CALLGRIND_STOP_INSTRUMENTATION;
  CALLGRIND_DUMP_STATS_AT(name);
  if (!isRight) {
    throw std::runtime_error(std::string("failed: ") + name);
  }
}

void countAll() {
  const Place place;
  Place::waitForConfiguration();
  Operations operations;
  count("query-1000-elements", operations, &Operations::query);
  count("move-among-1000-elements", operations, &Operations::move);
  count("set-1000-elements", operations, &Operations::set);
  count("register-100-drives", operations, &Operations::registerBatch);
  count("read-64-kib", operations, &Operations::read);
  count("write-64-kib-of-100-files", operations, &Operations::write);
}

}  // namespace

int main() {
  try {
    // The figures also depend on these versions.
    std::cout << TQ_COUNT_BUILD << ", Xerces-C++ " << XERCES_FULLVERSIONDOT << ", glibc "
              << gnu_get_libc_version() << '\n';
    countAll();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
