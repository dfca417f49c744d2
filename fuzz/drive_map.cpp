// Fuzz target: a hostile drive identifier map is parsed, flattened and parsed again, and compared
// with a plain parser.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "TqLibEmulator.h"

namespace {

using Map = std::map<int, std::string>;

constexpr int kMostEntries = 10'000;

void check(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "FINDING: %s\n", what);
    std::abort();
  }
}

/// Reads one field after the other; behind the last one, reading continues with the first.
class Fields {
public:
  explicit Fields(const std::string& text) : m_text(text) {}

  std::string next() {
    const std::size_t end = m_text.find('|', m_position);
    const std::string field = m_text.substr(m_position, end - m_position);
    m_position = end + 1;  // 0 after the last field
    return field;
  }

private:
  const std::string& m_text;
  std::size_t m_position = 0;
};

/// Reads as many entries as the text says; false when that would take too long.
bool readPlainly(const std::string& text, Map& map) {
  if (!text.starts_with("Map|")) {
    return true;
  }
  Fields fields(text);
  fields.next();
  const int count = std::atoi(fields.next().c_str());
  if (count > kMostEntries) {
    return false;
  }
  for (int entry = 0; entry < count; ++entry) {
    const int number = std::atoi(fields.next().c_str());
    map[number] = fields.next();
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SCSIUnitNoMap flat;
  flat.DriveIdentifierMap.assign(reinterpret_cast<const char*>(data), size);
  flat.MAName = "host", flat.DeviceText4 = "text", flat.DeviceInteger2 = 7;
  const SCSIUnit unit = flat;
  const SCSIUnitNoMap again = unit;

  Map plain;
  check(!readPlainly(flat.DriveIdentifierMap, plain) || unit.DriveIdentifierMap == plain,
        "the map differs from that of the plain parser");
  check(SCSIUnit(again).DriveIdentifierMap == unit.DriveIdentifierMap,
        "a flattened map is parsed differently");
  check(again.MAName == "host" && again.DeviceText4 == "text" && again.DeviceInteger2 == 7,
        "another field changed");
  return 0;
}
