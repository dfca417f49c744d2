// Converts device records: flattens the drive identifier map to text and parses it again.

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "TqLibEmulator.h"

namespace {

constexpr char kSeparator = '|';
constexpr std::string_view kHead = "Map|";
constexpr std::string_view kTail = "EOM";

std::string flatten(const std::map<int, std::string>& drives) {
  std::string text(kHead);
  text += std::to_string(drives.size()) + kSeparator;
  for (const auto& [number, serialNumber] : drives) {
    text += std::to_string(number) + kSeparator;
    text += serialNumber;
    text += kSeparator;
  }
  text += kTail;
  return text;
}

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> fields;
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = text.find(kSeparator, start);
    fields.push_back(text.substr(start, end - start));
    if (end == std::string::npos) {
      return fields;
    }
    start = end + 1;
  }
}

/// The leading decimal digits; 0 without them.
int leadingNumber(const std::string& text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

/// How many entries have to be read to get the same map as from `count` entries. Behind the last
/// field, reading continues with the first one. Therefore the entries repeat after at most
/// `fieldCount` of them, and further whole rounds do not change the map.
std::size_t entriesThatMatter(std::size_t count, std::size_t fieldCount) {
  return count < fieldCount ? count : fieldCount + count % fieldCount;
}

std::map<int, std::string> parse(const std::string& text) {
  std::map<int, std::string> drives;
  if (!text.starts_with(kHead)) {
    return drives;
  }
  const std::vector<std::string> fields = split(text);
  const int count = leadingNumber(fields[1]);
  if (count < 0) {
    return drives;
  }
  const std::size_t entries = entriesThatMatter(static_cast<std::size_t>(count), fields.size());
  // A text that is too short is no error: reading continues at its beginning. Callers have always
  // received entries for such a text.
  for (std::size_t entry = 0, field = 2; entry < entries; ++entry, field += 2) {
    drives[leadingNumber(fields[field % fields.size()])] = fields[(field + 1) % fields.size()];
  }
  return drives;
}

}  // namespace

SCSIUnitNoMap::SCSIUnitNoMap(const SCSIUnit& unit)
    : SCSIUnitFields(unit), DriveIdentifierMap(flatten(unit.DriveIdentifierMap)) {}

SCSIUnitNoMap& SCSIUnitNoMap::operator=(const SCSIUnit& unit) {
  SCSIUnitFields::operator=(unit);
  DriveIdentifierMap = flatten(unit.DriveIdentifierMap);
  return *this;
}

SCSIUnitNoMap::operator SCSIUnit() const {
  SCSIUnit unit;
  static_cast<SCSIUnitFields&>(unit) = *this;
  unit.DriveIdentifierMap = parse(DriveIdentifierMap);
  return unit;
}
