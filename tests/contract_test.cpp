// What embedders compile against, in addition to signatures: conversions of device records and
// texts.

#include <gmock/gmock.h>

#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"

namespace {

using testing::Each;
using testing::Field;

/// `record` as a `To`, in every form that initialises or assigns one.
template <typename To, typename From>
std::vector<To> converted(const From& record) {
  To copy = record;
  To copyBraces = {record};
  To direct(record);
  To braces{record};
  std::vector<To> all{copy, copyBraces, direct, braces, To(), To()};
  all[4] = record;
  all[5] = {record};
  all.push_back(record);
  all.push_back({record});
  all.emplace_back(record);
  return all;
}

TEST(Contract, DeviceRecordsConvertInEveryForm) {
  SCSIUnitNoMap flat;
  flat.DeviceText4 = "kept";
  flat.DriveIdentifierMap = "Map|3|-3||1|ABC123|2|XYZ|EOM";
  const std::map<int, std::string> map{{2, "XYZ"}, {-3, ""}, {1, "ABC123"}};
  const SCSIUnit unit = converted<SCSIUnit>(flat).front();
  EXPECT_EQ(unit.DeviceText4, "kept");
  EXPECT_THAT(converted<SCSIUnit>(flat), Each(Field(&SCSIUnit::DriveIdentifierMap, map)));
  EXPECT_THAT(converted<SCSIUnit>(unit), Each(Field(&SCSIUnit::DriveIdentifierMap, map)));
  for (const auto& all : {converted<SCSIUnitNoMap>(unit), converted<SCSIUnitNoMap>(flat)}) {
    EXPECT_THAT(all, Each(Field(&SCSIUnitNoMap::DriveIdentifierMap, flat.DriveIdentifierMap)));
    EXPECT_THAT(all, Each(Field(&SCSIUnitNoMap::DeviceText4, "kept")));
  }
}

using Drives = std::map<int, std::string>;

Drives parsed(const std::string& text) {
  SCSIUnitNoMap unit;
  unit.DriveIdentifierMap = text;
  return static_cast<SCSIUnit>(unit).DriveIdentifierMap;
}

// Behind its last field, an incomplete text is read from the beginning again.
TEST(FlattenedMap, ReadsAnIncompleteTextAsFarAsPossible) {
  const struct {
    const char* text;
    Drives drives = {};
  } cases[] = {
      {.text = "xMap|1|5|A|EOM"},
      {.text = "Map|-1|EOM"},
      {.text = "Map|4294967295|1|A|"},
      {.text = "Map|2|7|A|7|B|XXX", .drives = {{7, "B"}}},
      {.text = "Map|1|x|A|EOM", .drives = {{0, "A"}}},
      {.text = "Map|2", .drives = {{0, "2"}}},
      {.text = "Map|2147483647|1|A|EOM", .drives = {{0, "Map"}, {1, "A"}, {2147483647, "1"}}}};
  for (const auto& c : cases) EXPECT_EQ(parsed(c.text), c.drives) << c.text;
}

TEST(FlattenedMap, ReadsATextInTimeBoundedByItsLength) {
  std::string text = "Map|2147483647";
  for (int number = 0; number <= 100000; ++number) text += "|" + std::to_string(number);
  EXPECT_EQ(parsed(text).size(), 100002);  // the second round takes each value for a number
}

TEST(XmlText, IsRefusedIfMalformedAndCutOffInTheStaticBuffers) {
  EXPECT_EQ(MyTranscode(static_cast<const XMLCh*>(nullptr)), "");
  EXPECT_THROW(MyTranscode("A\xED\xA0\x80"), std::range_error);
  const char cassette[] = "\xF0\x9F\x93\xBC";
  EXPECT_EQ(MyTranscode(GetConstXMLCh(MyTranscode(cassette).c_str())), cassette);
  const XMLCh* first = GetConstXMLCh(std::wstring(5000, L'a').c_str());
  EXPECT_EQ(MyTranscode(GetConstXMLCh1(L"second")), "second");
  EXPECT_EQ(MyTranscode(first), std::string(1023, 'a'));
}

TEST(Itoa, WritesDecimalWhateverTheRadix) {
  char digits[21];
  EXPECT_STREQ(itoa(-9223372036854775807L - 1, digits, 16), "-9223372036854775808");
}

}  // namespace
