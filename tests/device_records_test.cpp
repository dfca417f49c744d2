// Devices as flat records for callers.
#include <gtest/gtest.h>

#include "TqLibEmulator.h"

namespace tests {
namespace {

TEST(FlattenedMap, ListsTheDrivesInAscendingOrderAndReadsBack) {
  SCSIUnit unit;
  EXPECT_EQ(SCSIUnitNoMap(unit).DriveIdentifierMap, "Map|0|EOM");
  unit.DriveIdentifierMap = {{2, "XYZ"}, {-3, ""}, {1, "ABC123"}};
  unit.DeviceText4 = "kept";
  SCSIUnitNoMap flat;
  flat = unit;
  EXPECT_EQ(flat.DriveIdentifierMap, "Map|3|-3||1|ABC123|2|XYZ|EOM");
  const SCSIUnit back = flat;
  EXPECT_EQ(back.DriveIdentifierMap, unit.DriveIdentifierMap);
  EXPECT_EQ(back.DeviceText4, "kept");
}

using Drives = std::map<int, std::string>;

Drives parsed(const std::string& text) {
  SCSIUnitNoMap unit;
  unit.DriveIdentifierMap = text;
  return static_cast<SCSIUnit>(unit).DriveIdentifierMap;
}

TEST(FlattenedMap, ToleratesWhatIsNotWhole) {
  for (const char* const text : {"", "xMap|1|5|A|EOM", "Map", "Map|-1|EOM", "Map|4294967295|1|A|"})
    EXPECT_EQ(parsed(text), Drives()) << text;
  EXPECT_EQ(parsed("Map|1|7|SN7|"), (Drives{{7, "SN7"}}));
  EXPECT_EQ(parsed("Map|2|7|A|7|B|XXX"), (Drives{{7, "B"}}));
  EXPECT_EQ(parsed("Map|1|x|A|EOM"), (Drives{{0, "A"}}));
  EXPECT_EQ(parsed("Map|2"), (Drives{{0, "2"}}));
  EXPECT_EQ(parsed("Map|3|1|A|EOM"), (Drives{{0, "Map"}, {1, "A"}, {3, "1"}}));
  // A field missing at the end is looked for at the beginning again; a count far beyond the text
  // costs no more than the text.
  EXPECT_EQ(parsed("Map|2147483647|1|A|EOM"), (Drives{{0, "Map"}, {1, "A"}, {2147483647, "1"}}));
  std::string text = "Map|2147483647";
  for (int number = 0; number <= 100000; ++number) text += "|" + std::to_string(number);
  EXPECT_EQ(parsed(text).size(), 100002);  // the second round takes each value for a number
}

}  // namespace
}  // namespace tests
