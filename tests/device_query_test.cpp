// Queries of devices, and of the volume in a drive, on library files that can and cannot be read.
#include <gtest/gtest.h>

#include "SmallLibrary.h"

namespace tests {
namespace {

using Seen = std::vector<std::string>;

/// "host:serial@address" for each device that host h sees, and a library's map after it.
Seen seen(bool isDone) {
  std::vector<SCSIUnitNoMap> devices(1);
  EXPECT_EQ(TqLibEmulator().GetVirtualDeviceInfo("h", devices), isDone);
  Seen all;
  for (const SCSIUnitNoMap& d : devices) {
    all.push_back(d.MAName + ":" + d.SerialNumber + "@" + std::to_string(d.DriveBaseAddress));
    if (d.DriveIdentifierMap != "Map|0|EOM") all.back() += d.DriveIdentifierMap;
  }
  EXPECT_EQ(all.front(), ":@-1");  // the vector's former content stays
  return {all.begin() + 1, all.end()};
}

const std::string kLibraryUnit = unitXml("Library", "h");
const std::string kDriveUnit = unitXml("Drive", "h");
const std::string kOtherUnit = unitXml("Drive", "other");

/// The file of library X, which host h sees.
std::string fileOfX(const std::string& more) {
  return fileXml(libraryXml("X", kLibraryUnit + more));
}

const std::string kOtherDrives = driveXml("D1", 501, kOtherUnit) + driveXml("D2", 501, kDriveUnit) +
                                 driveXml("D3", 499, kOtherUnit);
const std::string kTwoUnits = driveXml("D1", 500, kDriveUnit + unitXml("Drive", "H"));
const std::string kBadPlace = "<Drive>" + kOtherUnit + "<BaseAddress><x/></BaseAddress></Drive>";
const std::string kBadUnit = "<LibraryScsiUnit MAName='h'><Lun><x/></Lun></LibraryScsiUnit>";
const std::string kBadCount = "<SlotCount><x/></SlotCount>";
const std::string kSeveral = "More than one library node in XML Files CATALOGUE/Lib_X.xml";
const std::string kUnloaded = "Failed to Load XML Document CATALOGUE/Lib_X.xml for Library X";
const std::string kUnread = "Failed to read value for Element ";
const std::string kUnnamed =
    "Library Node not found in XML File CATALOGUE/Lib_X.xml for Library Lib_X.xml";
const struct {
  std::string file;  // empty: none
  int code = 0;
  std::string error = "";
  bool isDone = false;
  Seen seen = {};
} kFiles[] = {
    {.file =
         fileXml(libraryXml("X", kLibraryUnit + kOtherDrives) + driveXml("D4", 500, kDriveUnit)),
     .isDone = true,
     .seen = {"h:D2@501", "h:D4@500", "h:X@500Map|2|0|D3|2|D1|EOM"}},
    {.file = fileOfX("<IEPortBaseAddress><x/></IEPortBaseAddress>" + kTwoUnits),
     .isDone = true,
     .seen = {"H:D1@500", "h:X@500Map|1|1|D1|EOM"}},
    {.file = "<D/>", .error = kSeveral, .isDone = true},
    {.file = "", .error = kUnloaded},
    {.file = "<D>", .code = 50005, .error = kUnloaded},
    {.file = fileOfX(kBadUnit), .code = 50001, .error = kUnread + "Lun"},
    {.file = fileOfX(kBadPlace), .code = 50002, .error = "Element address not found for drive"},
    {.file = fileOfX("<Drive>" + kDriveUnit + "</Drive>"), .code = 50003},
    {.file = fileOfX(kBadCount), .code = 50004, .error = kUnread + "SlotCount"}};

// Three libraries are listed: A, X and C.
TEST(Queries, ReadTheFileOfALibraryOrSkipItOrEndThere) {
  for (const auto& c : kFiles) {
    SCOPED_TRACE(c.file);
    TempCatalogue catalogue;
    writeFile(catalogue.listFile(), listXml({"A", "X", "C"}));
    for (const std::string key : {"A", "C"})
      writeFile(catalogue.libraryFile(key), fileXml(libraryXml(key, kLibraryUnit)));
    if (!c.file.empty()) writeFile(catalogue.libraryFile("X"), c.file);
    Seen expected = c.seen;
    expected.insert(expected.begin(), "h:A@500");
    if (c.isDone) expected.push_back("h:C@500");
    EXPECT_EQ(seen(c.isDone), expected);
    TqLibEmulator emulator;
    std::vector<SCSIUnitNoMap> devices;
    EXPECT_EQ(emulator.GetVirtualDeviceInfo("h", devices, "X"), c.isDone);
    EXPECT_EQ(emulator.getErrorCode(), c.code);
    EXPECT_EQ(catalogue.shortened(lastError(emulator)), c.error);
    EXPECT_TRUE(catalogue.logged(c.error)) << catalogue.log();

    const bool isUnnamed = c.file.find("<Library>") != std::string::npos;
    std::vector<LibElement> places;
    TqLibEmulator other;
    EXPECT_FALSE(other.GetVirtualLibraryElements("X", places));
    EXPECT_TRUE(places.empty());
    EXPECT_EQ(other.getErrorCode(), isUnnamed ? 50008 : c.code);
    EXPECT_EQ(catalogue.shortened(lastError(other)), isUnnamed ? kUnnamed : c.error);
    EXPECT_TRUE(catalogue.logged("[TqLibEmulator::GetVirtualLibraryElements] "));
  }
}

TEST(DeviceQuery, AcceptsNamesThatAreInItsOutput) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).drives(500, 40).build();
  TqLibEmulator emulator;
  std::vector<SCSIUnitNoMap> devices(1);
  devices[0].MAName = "hosta";
  devices[0].Model = "A";
  EXPECT_TRUE(emulator.GetVirtualDeviceInfo(devices[0].MAName, devices, devices[0].Model));
  EXPECT_EQ(devices.size(), 42U);
  std::vector<LibElement> found = described("2@1:A");
  EXPECT_TRUE(emulator.GetVirtualLibraryElements(found[0].barCode, found));
  EXPECT_EQ(found.size(), 42U);
  EXPECT_TRUE(setElement("A", "4@507:T1"));
  std::string text = "DRV0008";
  EXPECT_TRUE(emulator.GetCurrentVolume(text, text));
  EXPECT_EQ(text, "T1");
}

TEST(DeviceQuery, LogsAFaultyListInEachOperationThatReadsIt) {
  std::vector<SCSIUnitNoMap> devices;
  std::string barCode = "old";
  const std::function<bool(TqLibEmulator&)> operations[] = {
      [](auto& e) { return e.RemoveVirtualDevice("", "D1"); },
      [&](auto& e) { return e.GetVirtualDeviceInfo("", devices); },
      [&](auto& e) { return e.GetCurrentVolume("D1", barCode); }};
  const struct {
    std::string list;
    int code = 0;
    std::string logged;
  } cases[] = {{.list = listXml({"a/b"}), .logged = "a/b"},
               {.list = "<LibraryList>", .code = 50005, .logged = "CATALOGUE/LibraryList.xml"}};
  for (const auto& c : cases)
    for (const auto& run : operations) {
      TempCatalogue catalogue;
      writeFile(catalogue.listFile(), c.list);
      TqLibEmulator emulator;
      EXPECT_FALSE(run(emulator));
      EXPECT_EQ(emulator.getErrorCode(), c.code);
      EXPECT_TRUE(catalogue.logged(c.logged));
      EXPECT_NE(lastError(emulator), "");
    }
  EXPECT_EQ(barCode, "");
}

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
  const std::string second =
      drive("D1", "<BarCode>T9</BarCode>") + drive("D3", "<BarCode><x/></BarCode>");
  const std::string empty =
      "<Drive IsOccupied='false'>" + drive("D5", "<BarCode>T5</BarCode>").substr(7);
  writeFile(catalogue.libraryFile("B"), fileXml(libraryXml("B", second) + empty));
  const struct {
    const char* serial;
    bool isFound = true;
    const char* barCode = "";
    bool isUnreadable = false;
  } cases[] = {{.serial = "D1", .barCode = "T1"},
               {.serial = "D3", .isUnreadable = true},
               {.serial = "D4"},
               {.serial = "D5", .barCode = "T5"},
               {.serial = "D8", .isFound = false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.serial);
    TqLibEmulator emulator;
    std::string barCode = "old";
    EXPECT_EQ(emulator.GetCurrentVolume(c.serial, barCode), c.isFound);
    EXPECT_EQ(barCode, c.barCode);
    EXPECT_EQ(lastError(emulator) == "Failed to read value for Source Element BarCode",
              c.isUnreadable);
  }
}

}  // namespace
}  // namespace tests
