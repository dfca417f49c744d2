#include <gtest/gtest.h>

#include <array>
#include <ctime>

#include "SmallLibrary.h"

namespace tests {
namespace {

using Values = std::array<int, 3>;

bool read(TqLibEmulator& emulator, Values& values, bool peek) {
  return emulator.GetVirtualDeviceStatus("A", values[0], values[1], values[2], peek);
}

TEST(DeviceStatus, IsOneRecordAtTheEndOfTheLibraryAndReplacedInPlace) {
  TempCatalogue catalogue;
  const std::string slots = "<Slots/><Drive/>";
  writeFile(catalogue.libraryFile("A"), fileXml(libraryXml("A", slots) + "<Shelf/>"));
  TqLibEmulator emulator;
  const auto set = [&](int status, int lifetime, int count) {
    const auto now = std::time(nullptr);
    EXPECT_TRUE(emulator.SetVirtualDeviceStatus("A", status, 4, 1, lifetime, count));
    const std::string file = compact(readFile(catalogue.libraryFile("A")));
    const auto until = std::atol(file.c_str() + file.find("ExpireTime=\"") + 12);
    EXPECT_TRUE(until >= now + lifetime && until <= std::time(nullptr) + lifetime) << file;
    const std::string record = "<ScsiStatus Count=\"" + std::to_string(count) + "\" ExpireTime=\"" +
                               std::to_string(until) + "\"><Status>" + std::to_string(status) +
                               "</Status><ASC>4</ASC><ASCQ>1</ASCQ></ScsiStatus>";
    EXPECT_EQ(file, fileXml(libraryXml("A", slots + record) + "<Shelf/>"));
  };
  set(2, 600, 3);
  set(8, 99, -5);
}

TEST(DeviceStatus, ABadFileOrRecordIsRefusedOrPassedOverUntouched) {
  const auto with = [](const std::string& asc) {
    return fileXml(
        libraryXml("A", "<ScsiStatus ExpireTime='9'><Status>2</Status>" + asc + "</ScsiStatus>"));
  };
  const std::string several = "More than one library node in XML Files %";
  const struct {
    std::string file;
    bool isSet, isRead;
    int code;
    std::string text;
    Values values{-7, -7, -7};
  } cases[] = {{"<D><Library/><Library/></D>", true, true, 0, several},
               {"<D/>", true, true, 0, several},
               {fileXml(libraryXml("a", "")), false, false, 50008, ""},
               {fileXml("<Library Name='Lib_A'/>"), false, false, 50008, ""},
               {with("<ASC>4</ASC>"), false, true, 0, "", {2, 4, 0}},
               {with("<ASC><x/></ASC><ASCQ>1</ASCQ>"), false, false, 0, "", {2, -1, -7}},
               {"<D>", false, false, 50005, "An error occurred during parsing document %"}};
  for (auto c : cases) {
    TempCatalogue catalogue;
    writeFile(catalogue.libraryFile("A"), c.file);
    const auto before = catalogue.files();
    if (!c.text.empty()) c.text.replace(c.text.size() - 1, 1, catalogue.libraryFile("A"));
    TqLibEmulator setter, getter;
    Values found{-7, -7, -7};
    EXPECT_EQ(setter.SetVirtualDeviceStatus("A", 5, 6, 7, 60, 1), c.isSet) << c.file;
    EXPECT_EQ(read(getter, found, true), c.isRead) << c.file;
    EXPECT_EQ(found, c.values) << c.file;
    for (const auto* emulator : {&setter, &getter}) {
      EXPECT_EQ(emulator->getErrorCode(), c.code) << c.file;
      EXPECT_EQ(lastError(*emulator).substr(0, c.text.size()), c.text);
      EXPECT_TRUE(c.text.empty() ? lastError(*emulator) + catalogue.log() == ""
                                 : catalogue.logged(c.text));
    }
    EXPECT_EQ(catalogue.files(), before);
  }
}

}  // namespace
}  // namespace tests
