// Registration, removal and SCSI status of devices. The files are compared as text.
#include <gtest/gtest.h>

#include <array>

#include "SmallLibrary.h"

namespace tests {
namespace {

using Batch = std::vector<SCSIUnitNoMap>;
using Elements = std::vector<std::string>;

bool update(const SCSIUnit& device, const std::string& library = "") {
  return TqLibEmulator().UpdateVirtualDevice(device, library);
}

/// The names in a file and the hosts of its units, in order.
std::string names(const std::string& path) {
  const std::string text = readFile(path);
  const std::regex pattern("Name=\"([^\"]*)\"");
  std::string all;
  for (std::sregex_iterator name(text.begin(), text.end(), pattern), end; name != end; ++name)
    all += (*name)[1].str() + " ";
  return all;
}

TEST(DeviceUpdate, KeepsUnitsTogetherAndDrivesAheadOfTheSlots) {
  TempCatalogue catalogue;
  LibraryBuilder builder = LibraryBuilder("A").mailSlots(10, -2).slots(1000, 2).drives(500, 2);
  const std::string file = catalogue.libraryFile("A");
  ASSERT_TRUE(update(builder.library(), "ignored for a library"));
  EXPECT_EQ(names(file), "Lib_A hosta Slot_1000 Slot_1001 ");
  ASSERT_TRUE(update(builder.drive(1), "A"));
  ASSERT_TRUE(update(builder.drive(2), "A"));
  for (const char* host : {"hostb", "HOSTA"}) {
    SCSIUnit drive = builder.host(host).drive(2);
    drive.SerialNumber = "drv0002";
    drive.ScsiDeviceType = 5;
    ASSERT_TRUE(update(builder.library()));
    ASSERT_TRUE(update(drive, "A"));
  }
  EXPECT_EQ(names(file),
            "Lib_A HOSTA hostb Drive_DRV0001 hosta Drive_DRV0002 HOSTA hostb Slot_1000 Slot_1001 ");
  EXPECT_NE(readFile(file).find(">drv0002</SerialNumber>"), std::string::npos);
  EXPECT_EQ(readFile(file).find("<ScsiDeviceType>5"), std::string::npos);  // fixed when added
}

TEST(DeviceUpdate, GivesDrivesTheAddressesOfTheMap) {
  TempCatalogue catalogue;
  const LibraryBuilder builder = LibraryBuilder("A").drives(500, 4);
  SCSIUnit library = builder.library();
  library.DriveIdentifierMap = {{-1, "DRV0001"}, {0, "DRV0001"}, {2, "DRV0002"},
                                {4, "DRV0002"},  {5, "drv0003"}, {9, "DRV0004"}};
  Batch batch = builder.batch();
  batch[0] = library;
  TqLibEmulator emulator;
  ASSERT_TRUE(emulator.UpdateVirtualDevice(batch, "A"));
  // Numbers below 1 mean not found, serial numbers are case-sensitive, the count is no limit.
  EXPECT_EQ(elements("A"), (Elements{"4@-999999", "4@501", "4@-999999", "4@508"}));
  EXPECT_TRUE(catalogue.logged("Failed to look up SerialNumber DRV0003 for drive"));
  EXPECT_FALSE(catalogue.logged("DRV0002"));

  // If the library exists, a batch may begin with a drive.
  library.DriveIdentifierMap = {{1, "DRV0004"}};
  library.DriveBaseAddress = 2147483647;
  ASSERT_TRUE(emulator.UpdateVirtualDevice(Batch{builder.drive(4), library}, "A"));
  EXPECT_EQ(elements("A")[3], "4@2147483647");
}

TEST(DeviceUpdate, NeedsTheFileOfADrivesLibraryAndIgnoresDrivesInABatchWithoutALibraryName) {
  TempCatalogue catalogue;
  const LibraryBuilder builder = LibraryBuilder("A").drives(500, 1);
  const SCSIUnit drive = builder.drive(1);
  TqLibEmulator emulator;
  EXPECT_FALSE(update(drive, "A"));
  EXPECT_FALSE(update(drive));
  EXPECT_TRUE(emulator.UpdateVirtualDevice(Batch{drive}, "A"));
  EXPECT_TRUE(emulator.UpdateVirtualDevice(Batch{drive}, ""));
  EXPECT_TRUE(catalogue.files().empty());
  writeFile(catalogue.libraryFile("Library1"), "<Devices/>");
  EXPECT_TRUE(update(drive));
  EXPECT_EQ(names(catalogue.libraryFile("Library1")), "Drive_DRV0001 hosta ");

  // Without a name the last library of the batch counts.
  const SCSIUnit other = LibraryBuilder("B").library();
  EXPECT_TRUE(emulator.UpdateVirtualDevice(Batch{builder.library(), other, drive}, ""));
  EXPECT_EQ(compact(readFile(catalogue.listFile())), listXml({"B"}));
  EXPECT_EQ(elements("B"), Elements());
}

TEST(DeviceUpdate, ReturnsTrueWhenAnUpdateFailsAndLeavesTheFileUntouched) {
  const LibraryBuilder builder = LibraryBuilder("A").drives(500, 1);
  for (const std::string content :
       {"<Devices/>", "<Devices><Library/><a><Library/></a></Devices>",
        "<Devices><Library><Drive Name=\"drive_drv0001\"/></Library></Devices>"}) {
    TempCatalogue catalogue;
    writeFile(catalogue.libraryFile("A"), content);
    for (const SCSIUnit& device : {builder.library(), builder.drive(1)})
      EXPECT_TRUE(update(device, "A")) << content;
    EXPECT_EQ(catalogue.files(), (std::map<std::string, std::string>{{"Lib_A.xml", content}}));

    // A batch writes the file again, with the same content.
    EXPECT_TRUE(TqLibEmulator().UpdateVirtualDevice(builder.batch(), "A")) << content;
    EXPECT_EQ(catalogue.files().size(), 1U);
    EXPECT_EQ(compact(readFile(catalogue.libraryFile("A"))), content);
  }
}

// Removal

const std::string kHost2OfD1 = unitXml("Drive", "h2");
const std::string kD1 = driveXml("D1", 2, kHost2OfD1 + unitXml("Drive", "h1"));
const std::string kD2 = driveXml("D2", 1, unitXml("Drive", "h1"));
const std::string kD3 = driveXml("D3", 3, "");
const std::string kDrivesWithoutSerialNumber =
    "<Drive/><Drive><DriveScsiDevice><SerialNumber><x/></SerialNumber></DriveScsiDevice></Drive>";
const std::string kShelves = "<Shelf><A/></Shelf><Shelf><B/></Shelf><Shelf><C/></Shelf>";
const std::string kLibrary =
    libraryXml("A", unitXml("Library", "h1") + kDrivesWithoutSerialNumber + kD1 + kD2);

TEST(DeviceRemoval, RemovesAHostADriveOrTheLibraryAndNothingElse) {
  const struct {
    std::string host = "";
    std::string serial;
    std::string gone = "";
    bool isUnlisted = false;
  } cases[] = {{.host = "H2", .serial = "D1", .gone = kHost2OfD1},
               {.host = "h1", .serial = "D2", .gone = kD2},  // the drive's last host
               {.serial = "D1", .gone = kD1},
               {.serial = "D3", .gone = kD3},
               {.serial = "A", .gone = kLibrary + kShelves, .isUnlisted = true}};
  for (const auto& c : cases)
    for (const bool isLibraryNamed : {true, false}) {
      SCOPED_TRACE(c.host + "/" + c.serial + (isLibraryNamed ? " named" : " searched for"));
      const std::string file = fileXml(kLibrary + kShelves + kD3);
      const TempCatalogue catalogue;
      writeFile(catalogue.listFile(), listXml({"Missing", "Two", "A", "Z"}));
      writeFile(catalogue.libraryFile("A"), file);
      writeFile(catalogue.libraryFile("Z"), file);
      writeFile(catalogue.libraryFile("Two"), fileXml(kLibrary + "<Library/>"));
      auto expected = catalogue.files();
      expected["Lib_A.xml"].erase(file.find(c.gone), c.gone.size());
      if (c.isUnlisted) expected["LibraryList.xml"] = listXml({"Missing", "Two", "Z"});

      TqLibEmulator emulator;
      EXPECT_TRUE(isLibraryNamed ? emulator.RemoveVirtualDevice(c.host, c.serial, "A")
                                 : emulator.RemoveVirtualDevice(c.host, c.serial));
      auto found = catalogue.files();
      for (const char* name : {"Lib_A.xml", "LibraryList.xml"}) found[name] = compact(found[name]);
      EXPECT_EQ(found, expected);
      EXPECT_EQ(catalogue.logged("A drive in CATALOGUE/Lib_A.xml has no single"), c.serial != "A");
    }
}

TEST(DeviceRemoval, LeavesEveryFileAsItWasWhenItIsRefused) {
  const std::string unreadableDevice =
      "<LibraryScsiDevice><SerialNumber><x/></SerialNumber></LibraryScsiDevice>";
  const struct {
    std::string file;
    std::string list = listXml({"A"});  // empty: none
    const char* serial = "D1";
  } cases[] = {{.file = fileXml(kLibrary), .serial = "a"},
               {.file = fileXml(kLibrary), .list = "<LibraryList>", .serial = "A"},
               {.file = fileXml(kLibrary), .list = "", .serial = "A"},
               {.file = fileXml(kLibrary + "<Library/>")},
               {.file = fileXml("<Library>" + unreadableDevice + kD1 + "</Library>")}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file + c.list);
    const TempCatalogue catalogue;
    writeFile(catalogue.libraryFile("A"), c.file);
    if (!c.list.empty()) writeFile(catalogue.listFile(), c.list);
    const auto before = catalogue.files();
    EXPECT_FALSE(TqLibEmulator().RemoveVirtualDevice("", c.serial));
    for (const char* key : {"A", "Missing", ""})
      EXPECT_FALSE(TqLibEmulator().RemoveVirtualDevice("", c.serial, key)) << key;
    EXPECT_EQ(catalogue.files(), before);
  }
}

// Status

using Values = std::array<int, 3>;  // status, ASC, ASCQ

std::string fileWithStatus(const std::string& codes) {
  return fileXml(
      libraryXml("A", "<ScsiStatus ExpireTime='9'><Status>2</Status>" + codes + "</ScsiStatus>"));
}

TEST(DeviceStatus, OfABadFileOrRecordIsRefusedOrSkippedAndTheFileStays) {
  const std::string several = "More than one library node in XML Files CATALOGUE/Lib_A.xml";
  const std::string unparsed = "An error occurred during parsing document CATALOGUE/Lib_A.xml";
  const struct {
    std::string file;
    bool isSet = false;
    bool isRead = false;
    Values found = {-7, -7, -7};  // the outputs as they were
    int code = 0;
    std::string error = "";
  } cases[] = {{.file = "<D/>", .isSet = true, .isRead = true, .error = several},
               {.file = fileXml("<Library Name='Lib_A'/>"), .code = 50008},
               {.file = fileWithStatus("<ASC>4</ASC>"), .isRead = true, .found = {2, 4, 0}},
               {.file = fileWithStatus("<ASC><x/></ASC><ASCQ>1</ASCQ>"), .found = {2, -1, -7}},
               {.file = "<D>", .code = 50005, .error = unparsed}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    TempCatalogue catalogue;
    writeFile(catalogue.libraryFile("A"), c.file);
    const auto before = catalogue.files();
    TqLibEmulator setter;
    TqLibEmulator getter;
    Values found{-7, -7, -7};
    EXPECT_EQ(setter.SetVirtualDeviceStatus("A", 5, 6, 7, 60, 1), c.isSet);
    EXPECT_EQ(getter.GetVirtualDeviceStatus("A", found[0], found[1], found[2], true), c.isRead);
    EXPECT_EQ(found, c.found);
    for (const auto* emulator : {&setter, &getter}) {
      const std::string error = catalogue.shortened(lastError(*emulator));
      EXPECT_EQ(emulator->getErrorCode(), c.code);
      EXPECT_EQ(error.substr(0, c.error.size()), c.error);
      EXPECT_EQ(error.empty(), c.error.empty());
    }
    EXPECT_TRUE(catalogue.logged(c.error));
    EXPECT_EQ(catalogue.files(), before);
  }
}

}  // namespace
}  // namespace tests
