#include <gtest/gtest.h>

#include "SmallLibrary.h"

namespace tests {
namespace {

std::string drive(const std::string& serial, const std::string& barCode) {
  return driveXml(serial, 500, barCode);
}

TEST(CurrentVolume, IsTheBarCodeOfTheFirstDriveOfThatSerialNumberInAnyListedLibrary) {
  TempCatalogue catalogue;
  writeFile(catalogue.listFile(), listXml({"", "Missing", "a/b", "Broken", "A", "B"}));
  writeFile(catalogue.libraryFile("Broken"), "<Devices>");
  writeFile(catalogue.libraryFile("A"),
            fileXml(libraryXml("A", drive("D1", "<BarCode>T1</BarCode>") + drive("D4", ""))));
  writeFile(catalogue.libraryFile("Unlisted"), fileXml(drive("D8", "<BarCode>T8</BarCode>")));
  std::string second = drive("D1", "<BarCode>T9</BarCode>") + drive("D2", "<BarCode>T2</BarCode>") +
                       drive("D3", "<BarCode><x/></BarCode>");
  for (std::size_t at = 0; (at = second.find("<Drive>", at)) != std::string::npos; ++at)
    second.insert(at + 6, " IsOccupied='false'");
  writeFile(catalogue.libraryFile("B"),
            fileXml(libraryXml("B", second) + drive("D5", "<BarCode>T5</BarCode>")));
  const struct {
    const char *serial, *barCode;
    bool isFound = true;
  } cases[] = {{"D1", "T1"}, {"D2", "T2"},      {"D3", ""},       {"D4", ""},
               {"D5", "T5"}, {"D8", "", false}, {"d1", "", false}};
  for (const auto& c : cases) {
    TqLibEmulator emulator;
    std::string barCode = "old";
    EXPECT_EQ(emulator.GetCurrentVolume(c.serial, barCode), c.isFound) << c.serial;
    EXPECT_EQ(barCode, c.barCode) << c.serial;
    EXPECT_EQ(lastError(emulator) == "Failed to read value for Source Element BarCode",
              c.serial == std::string("D3"));
    EXPECT_FALSE(catalogue.logged("Source Element"));
  }
}

TEST(CurrentVolume, NeedsNoListButAReadableOneAsTheDeviceQueryDoes) {
  TempCatalogue catalogue;
  TqLibEmulator volume, query;
  std::string barCode = "old";
  std::vector<SCSIUnitNoMap> devices(1);
  EXPECT_TRUE(volume.GetCurrentVolume("D1", barCode));
  EXPECT_EQ(barCode, "");
  writeFile(catalogue.listFile(), "<LibraryList><Library Id='A'/>");
  EXPECT_FALSE(volume.GetCurrentVolume("D1", barCode = "old"));
  EXPECT_FALSE(query.GetVirtualDeviceInfo("", devices));
  EXPECT_EQ(barCode + std::to_string(devices.size()), "1");
  for (const TqLibEmulator* emulator : {&volume, &query}) {
    EXPECT_EQ(emulator->getErrorCode(), 50005);
    EXPECT_EQ(lastError(*emulator), "Cannot parse the file " + catalogue.listFile());
  }
  EXPECT_TRUE(catalogue.logged(lastError(query)));
}

}  // namespace
}  // namespace tests
