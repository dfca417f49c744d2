// Derives the expected place of each medium and the content of each block from the round, so that
// nothing needs to be remembered.

#include "Traffic.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "TqLibEmlFile.h"

namespace {

constexpr char kLibrary[] = "LOAD";
constexpr int kSlots = 8;  // of each host; the media are initially in the lower half
constexpr int kMedia = kSlots / 2;
constexpr int kFirstSlot = 1000;
constexpr int kFirstDrive = 500;
constexpr int kFirstPort = 10;
constexpr std::size_t kBlock = std::size_t{256} * 1024;
constexpr int kFilesOfVolume = 8;

std::string named(const char* prefix, int number) {
  return std::string(prefix).append(std::to_string(number));
}

std::string serialOfDrive(int number) {
  return named("DRV", number);
}

std::string barCodeOf(int number, int medium) {
  return named("H", number).append(named("M", medium));
}

SCSIUnit deviceOf(int type, const std::string& serial, const std::string& host) {
  SCSIUnit unit;
  unit.ScsiDeviceType = type;
  unit.SerialNumber = serial;
  unit.MAName = host;
  unit.Manufacturer = "ACME";
  unit.Model = "VL-100";
  unit.FirmwareRevision = '1';
  unit.AccessPath = "/dev/sg0";
  unit.ScsiPort = '0';
  return unit;
}

SCSIUnit libraryOf(int hosts, const std::string& host) {
  SCSIUnit library = deviceOf(8, kLibrary, host);
  library.SlotBaseAddress = kFirstSlot;
  library.SlotCount = kSlots * hosts;
  library.DriveBaseAddress = kFirstDrive;
  library.DriveCount = hosts;
  library.IEPortBaseAddress = kFirstPort;
  library.IEPortCount = hosts;
  for (int number = 0; number < hosts; ++number) {
    library.DriveIdentifierMap[number + 1] = serialOfDrive(number);
  }
  return library;
}

int slotOf(int number, int index) {
  return kFirstSlot + number * kSlots + index % kSlots;
}

}  // namespace

void Traffic::registerLibrary(int hosts) {
  std::vector<SCSIUnitNoMap> devices{libraryOf(hosts, "host")};
  std::vector<LibElement> media;
  for (int number = 0; number < hosts; ++number) {
    devices.emplace_back(deviceOf(1, serialOfDrive(number), "host"));
    for (int medium = 0; medium < kMedia; ++medium) {
      media.push_back(
          {LIB_ELEM_SLOT, slotOf(number, medium), true, true, barCodeOf(number, medium)});
    }
  }
  TqLibEmulator catalogue;
  if (!catalogue.UpdateVirtualDevice(devices, kLibrary) ||
      !catalogue.SetVirtualLibraryElement(kLibrary, media, false)) {
    throw std::runtime_error("cannot register the library");
  }
}

Traffic::Traffic(int number, int files, std::uint64_t fileSize)
    : m_number(number), m_files(files), m_fileSize(fileSize), m_block(kBlock) {}

bool Traffic::expect(bool isRight, const char* what) {
  ++m_operations;
  return require(isRight, what);
}

bool Traffic::require(bool isRight, const char* what) const {
  if (!isRight) {
    std::fprintf(stderr, "host %d, round %d: %s\n", m_number, m_round, what);
  }
  return isRight;
}

bool Traffic::round() {
  const bool isRight = moveRound() && inquiryRound() && statusRound() &&
                       (m_round >= m_files || writeFile(m_round)) &&
                       (m_round < 1 || m_round > m_files || readFile(m_round - 1));
  ++m_round;
  return isRight;
}

std::string Traffic::barCode(int medium) const {
  return barCodeOf(m_number, medium);
}

bool Traffic::move(int fromType, int from, int toType, int to) {
  return expect(m_catalogue.MoveVirtualLibraryElement(kLibrary, fromType, from, toType, to),
                "a medium was not moved");
}

// The place of a medium depends on the round only, so the last round gives the place of each.
bool Traffic::moveRound() {
  const int medium = m_round % kMedia;
  const int turns = m_round / kMedia;
  const int from = slotOf(m_number, medium + turns * kMedia);
  const int to = slotOf(m_number, medium + (turns + 1) * kMedia);
  const int drive = kFirstDrive + m_number;
  const int port = kFirstPort + m_number;
  if (!move(LIB_ELEM_SLOT, from, LIB_ELEM_DRIVE, drive)) {
    return false;
  }
  std::string loaded;
  return expect(m_catalogue.GetCurrentVolume(serialOfDrive(m_number), loaded) &&
                    loaded == barCode(medium),
                "the drive has another medium") &&
         move(LIB_ELEM_DRIVE, drive, LIB_ELEM_MAIL_SLOT, port) &&
         move(LIB_ELEM_MAIL_SLOT, port, LIB_ELEM_SLOT, to);
}

bool Traffic::inquiryRound() {
  const std::string host = named("host", m_number);
  const SCSIUnit drive = deviceOf(1, serialOfDrive(m_number), host);
  std::vector<SCSIUnitNoMap> seen;
  const LibElement shelf{LIB_ELEM_SHELF, 1 + m_number, true, true, named("S", m_round)};
  return expect(m_catalogue.UpdateVirtualDevice(drive, kLibrary), "a drive was not updated") &&
         expect(m_catalogue.GetVirtualDeviceInfo(host, seen, kLibrary) && seen.size() == 1 &&
                    seen[0].SerialNumber == drive.SerialNumber,
                "the host does not see its drive") &&
         expect(m_catalogue.SetVirtualLibraryElement(kLibrary, shelf, false),
                "a shelf was not set") &&
         expect(m_catalogue.SetVirtualLibraryElement(kLibrary, shelf, true),
                "a shelf was not removed");
}

// All hosts share one status, and one host may read what another one has set. Therefore only
// impossible values are detected.
bool Traffic::statusRound() {
  int status = -1;
  int asc = -1;
  int ascq = -1;
  return expect(m_catalogue.SetVirtualDeviceStatus(kLibrary, 2, 4, 1, 3600, 2),
                "a status was not set") &&
         expect(m_catalogue.GetVirtualDeviceStatus(kLibrary, status, asc, ascq, false) &&
                    ((status == 2 && asc == 4 && ascq == 1) || status + asc + ascq == 0),
                "a status was read that was never set");
}

std::string Traffic::volumeOf(int file) const {
  return barCode(file / kFilesOfVolume);
}

/// Every eight bytes hold host, file and position, so no block equals another one.
void Traffic::fill(int file, std::uint64_t block) {
  const std::uint64_t origin = static_cast<std::uint64_t>(m_number) << 56 |
                               static_cast<std::uint64_t>(file) << 40 | block << 20;
  for (std::size_t at = 0; at < kBlock; at += sizeof origin) {
    const std::uint64_t word = origin + at;
    std::memcpy(m_block.data() + at, &word, sizeof word);
  }
}

bool Traffic::writeFile(int file) {
  TqLibEmlFile volume(volumeOf(file));
  for (std::uint64_t offset = 0; offset < m_fileSize; offset += kBlock) {
    fill(file, offset / kBlock);
    unsigned long written = 0;
    const bool isDone =
        volume.WriteDataForDrive(file % kFilesOfVolume, offset, m_block.data(), kBlock, written);
    if (!require(isDone && written == kBlock, "a block was not written")) {
      return false;
    }
    m_bytes += written;
  }
  return true;
}

bool Traffic::readFile(int file) {
  TqLibEmlFile volume(volumeOf(file));
  std::vector<unsigned char> found(kBlock);
  for (std::uint64_t offset = 0; offset < m_fileSize; offset += kBlock) {
    fill(file, offset / kBlock);
    unsigned long read = 0;
    const bool isDone =
        volume.ReadDataForDrive(file % kFilesOfVolume, offset, found.data(), kBlock, read);
    if (!require(isDone && read == kBlock && found == m_block, "a block was not read as written")) {
      return false;
    }
  }
  return true;
}

bool Traffic::isAllThere() {
  std::vector<LibElement> found;
  if (!m_catalogue.GetVirtualLibraryElements(kLibrary, found)) {
    return require(false, "the library cannot be read");
  }
  bool isRight = true;
  for (int medium = 0; medium < kMedia; ++medium) {
    const int moves = m_round / kMedia + (m_round % kMedia > medium ? 1 : 0);
    const int slot = slotOf(m_number, medium + moves * kMedia);
    const auto isIt = [&](const LibElement& e) { return e.barCode == barCode(medium); };
    const auto at = std::find_if(found.begin(), found.end(), isIt);
    isRight = require(std::count_if(found.begin(), found.end(), isIt) == 1 && at->isOccupied &&
                          at->elementType == LIB_ELEM_SLOT && at->elementAddress == slot,
                      "a medium is not where it was put") &&
              isRight;
  }
  for (int file = 0; file < std::min(m_files, m_round); ++file) {
    isRight = readFile(file) && isRight;
  }
  return isRight;
}
