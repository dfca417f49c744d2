// Fuzz target: look-ups of every kind in a hostile configuration file. No folder is created,
// because the file may name any path.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Scratch.h"
#include "TqLibEmlFile.h"
#include "TqPlatform/PlatformInfo.h"

namespace {

using Lookup = int (TQPlatformInfo::*)(const char*, const char*, char*, int*);

constexpr const char* kSections[] = {"MediaManager", "Teifioskon", "Base", "", "a.b", "none"};
constexpr const char* kKeys[] = {"sVirtualLibXMLDirectory",
                                 "sVirtualTapeDirectory",
                                 "dMERIDIANHOME",
                                 "nVirtualTapeSizeMB",
                                 "",
                                 "c.d"};
constexpr int kRooms[] = {-1, 0, 1, 8, 1025};

void lookUp(TQPlatformInfo& platform, Lookup find, const char* section, const char* key, int room) {
  // The buffer has exactly this size, so that the sanitizer sees an overflow of one byte.
  const std::vector<char> untouched(room > 0 ? static_cast<std::size_t>(room) : 0, '#');
  std::vector<char> buffer = untouched;
  int length = room;
  if ((platform.*find)(section, key, buffer.data(), &length) == 0) {
    if (length != room || buffer != untouched) {
      fuzz::fail("a look-up that found nothing changed something");
    }
  } else if (length < 0 || length >= room || buffer[static_cast<std::size_t>(length)] != '\0') {
    fuzz::fail("a value without its terminator");
  }
}

void readNumber(TQPlatformInfo& platform, const char* section, const char* key) {
  unsigned long number = 4711;
  if (platform.getNumber(section, key, &number) == 0 && number != 4711) {
    fuzz::fail("a number that was not found changed something");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::ScratchFolder scratch;
  static const std::filesystem::path ini = scratch.path() / "tqlib.ini";
  fuzz::configure(ini);
  // If a file cannot be parsed, the values that were read before stay in use. An empty file makes
  // sure that these are not the values of the previous input.
  fuzz::writeFile(ini, "");
  { const TQPlatformInfo nothing; }
  fuzz::writeFile(ini, {reinterpret_cast<const char*>(data), size});

  TQPlatformInfo platform;
  platform.setFocus(TQPI_Focus::getFocus());
  for (const char* const section : kSections) {
    for (const char* const key : kKeys) {
      for (const int room : kRooms) {
        lookUp(platform, &TQPlatformInfo::getString, section, key, room);
        lookUp(platform, &TQPlatformInfo::getDirectory, section, key, room);
      }
      readNumber(platform, section, key);
    }
  }
  const TqLibEmlFile volume("VOL001");
  return 0;
}
