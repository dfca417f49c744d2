#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "TqLibEmulator.h"

namespace {

using Drives = std::map<int, std::string>;

Drives parsed(const std::string& text) {
  SCSIUnitNoMap unit;
  unit.DriveIdentifierMap = text;
  return static_cast<SCSIUnit>(unit).DriveIdentifierMap;
}

/// The entries one by one; a field is what lies before the next separator, and a search that finds
/// none goes on at the beginning of the text.
Drives parsedOneByOne(const std::string& text) {
  std::size_t start = 4;
  const auto next = [&] {
    const std::size_t end = text.find('|', start);
    const std::string field = text.substr(start, end - start);
    start = end + 1;
    return field;
  };
  Drives drives;
  for (int count = std::atoi(next().c_str()); count > 0; --count) {
    const int number = std::atoi(next().c_str());
    drives[number] = next();
  }
  return drives;
}

TEST(FlattenedMap, ListsTheDrivesInAscendingOrderAndReadsBack) {
  SCSIUnit unit;
  EXPECT_EQ(SCSIUnitNoMap(unit).DriveIdentifierMap, "Map|0|EOM");
  unit.DriveIdentifierMap = {{2, "XYZ"}, {-3, ""}, {1, "ABC123"}};
  unit.MAName = "ma";
  unit.DeviceText4 = "kept";
  unit.DeviceInteger2 = 77;
  SCSIUnitNoMap flat;
  flat = unit;
  EXPECT_EQ(flat.DriveIdentifierMap, "Map|3|-3||1|ABC123|2|XYZ|EOM");
  const SCSIUnit back = flat;
  EXPECT_EQ(back.DriveIdentifierMap, unit.DriveIdentifierMap);
  EXPECT_EQ(back.MAName + back.DeviceText4, "makept");
  EXPECT_EQ(back.DeviceInteger2, 77);
}

TEST(FlattenedMap, ToleratesWhatIsNotWhole) {
  for (const char* const text : {"", "xMap|1|5|A|EOM", "Map", "Map|-1|EOM", "Map|4294967295|1|A|"})
    EXPECT_EQ(parsed(text), Drives()) << text;
  EXPECT_EQ(parsed("Map|1|7|SN7|"), (Drives{{7, "SN7"}}));
  EXPECT_EQ(parsed("Map|2|7|A|7|B|XXX"), (Drives{{7, "B"}}));
  EXPECT_EQ(parsed("Map|1|x|A|EOM"), (Drives{{0, "A"}}));
  EXPECT_EQ(parsed("Map|2"), (Drives{{0, "2"}}));
}

TEST(FlattenedMap, TooFewFieldsGiveWhatReadingOneByOneGives) {
  std::mt19937 random(20240611);
  for (int round = 0; round < 20000; ++round) {
    std::string text = "Map|" + std::to_string(random() % 60) + "|";
    for (auto length = random() % 24; length > 0; --length) text += "12A|||"[random() % 6];
    ASSERT_EQ(parsed(text), parsedOneByOne(text)) << text;
  }
}

TEST(FlattenedMap, ACountFarBeyondTheTextCostsNoMoreThanTheText) {
  EXPECT_EQ(parsed("Map|2147483647|1|A|EOM"), (Drives{{0, "Map"}, {1, "A"}, {2147483647, "1"}}));
  std::string text = "Map|2147483647";
  for (int number = 0; number <= 100000; ++number) text += "|" + std::to_string(number);
  // An odd number of fields: in its second round the walk takes each value for a number.
  EXPECT_EQ(parsed(text).size(), 100002);
}

}  // namespace
