// Registration of devices through the public operations, and the library list they keep.
#include <gtest/gtest.h>

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

TEST(DeviceUpdate, ABatchCreatesALibraryOfThisForm) {
  TempCatalogue catalogue;
  LibraryBuilder("A").mailSlots(10, 1).slots(1000, 1).drives(500, 1).build();
  EXPECT_EQ(compact(readFile(catalogue.libraryFile("A"))), compact(R"(<Devices>
<Library Name="Lib_A">
  <SlotCount>1</SlotCount><SlotBaseAddress>1000</SlotBaseAddress>
  <IEPortCount>1</IEPortCount><IEPortBaseAddress>10</IEPortBaseAddress>
  <DriveCount>1</DriveCount><DriveBaseAddress>500</DriveBaseAddress>
  <LibraryScsiDevice>
    <Model>VL-100</Model><Manufacturer>ACME</Manufacturer><SerialNumber>A</SerialNumber>
    <FirmwareRevision>2.1</FirmwareRevision><ScsiDeviceType>8</ScsiDeviceType>
  </LibraryScsiDevice>
  <LibraryScsiUnit MAName="hosta">
    <ScsiPort>2</ScsiPort><AccessPath>/dev/sg3</AccessPath><Bus>0</Bus><Target>1</Target>
    <Lun>0</Lun>
  </LibraryScsiUnit>
  <Drive IsOccupied="false" Name="Drive_DRV0001">
    <BarCode/><BaseAddress>500</BaseAddress>
    <DriveScsiDevice>
      <Model>VT-9</Model><Manufacturer>ACME</Manufacturer><SerialNumber>DRV0001</SerialNumber>
      <FirmwareRevision>2.1</FirmwareRevision><ScsiDeviceType>1</ScsiDeviceType>
    </DriveScsiDevice>
    <DriveScsiUnit MAName="hosta">
      <ScsiPort>2</ScsiPort><AccessPath>/dev/nst0</AccessPath><Bus>0</Bus><Target>1</Target>
      <Lun>0</Lun>
    </DriveScsiUnit>
  </Drive>
  <Slots IsMailSlot="true" IsOccupied="false" Name="Slot_10">
    <BaseAddress>10</BaseAddress><BarCode/></Slots>
  <Slots IsMailSlot="false" IsOccupied="false" Name="Slot_1000">
    <BaseAddress>1000</BaseAddress><BarCode/></Slots>
</Library></Devices>)"));
  EXPECT_EQ(compact(readFile(catalogue.listFile())), listXml({"A"}));
}

TEST(DeviceUpdate, SingleRecordsKeepUnitsTogetherAndDrivesAheadOfTheSlots) {
  TempCatalogue catalogue;
  LibraryBuilder builder = LibraryBuilder("A").mailSlots(10, -2).slots(1000, 2).drives(500, 2);
  const std::string file = catalogue.libraryFile("A");
  ASSERT_TRUE(update(builder.library(), "name of a library is the serial number"));
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
  const std::string text = compact(readFile(file));
  EXPECT_NE(text.find("<SerialNumber>drv0002</SerialNumber>"), std::string::npos);
  EXPECT_EQ(text.find("<ScsiDeviceType>5"), std::string::npos);  // fixed when it was added

  // Without a unit and a slot, the device and the end are the places to go by.
  const std::regex gone(R"(<(LibraryScsiUnit|Slots).*</\1>)");
  writeFile(file, std::regex_replace(text, gone, ""));
  ASSERT_TRUE(update(builder.library()) && update(builder.drive(3), "A"));
  EXPECT_EQ(names(file),
            "Lib_A HOSTA Drive_DRV0001 hosta Drive_DRV0002 HOSTA hostb Drive_DRV0003 HOSTA ");
}

TEST(DeviceUpdate, TheMapAddressesItsDrives) {
  TempCatalogue catalogue;
  const LibraryBuilder builder = LibraryBuilder("A").drives(500, 4);
  SCSIUnit library = builder.library();
  library.DriveIdentifierMap = {{-1, "DRV0001"}, {0, "DRV0001"}, {2, "DRV0002"},
                                {4, "DRV0002"},  {5, "drv0003"}, {9, "DRV0004"}};
  Batch batch = builder.batch();
  batch[0] = library;
  TqLibEmulator emulator;
  ASSERT_TRUE(emulator.UpdateVirtualDevice(batch, "A"));
  // Numbers below 1 mean not found, serial numbers are compared as written, the count is no limit.
  EXPECT_EQ(elements("A"), (Elements{"4@-999999", "4@501", "4@-999999", "4@508"}));
  EXPECT_TRUE(catalogue.logged("Failed to look up SerialNumber DRV0001 for drive"));
  EXPECT_TRUE(catalogue.logged("Failed to look up SerialNumber DRV0003 for drive"));
  EXPECT_FALSE(catalogue.logged("DRV0002"));

  // For a library that is there, a batch may begin with a drive or hold drives only.
  library.DriveIdentifierMap = {{1, "DRV0004"}};
  library.DriveBaseAddress = 2147483647;
  ASSERT_TRUE(emulator.UpdateVirtualDevice(Batch{builder.drive(5)}, "A"));
  ASSERT_TRUE(emulator.UpdateVirtualDevice(Batch{builder.drive(4), library}, "A"));
  EXPECT_EQ(elements("A")[3], "4@2147483647");
  EXPECT_EQ(elements("A")[4], "4@-999999");
}

TEST(DeviceUpdate, ADriveNeedsTheFileOfItsLibraryAndABatchWithoutANameHasNoDrives) {
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
  EXPECT_EQ(catalogue.files().size(), 1U);

  // Of several libraries the last is handled; nothing is left of the batches before.
  const SCSIUnit other = LibraryBuilder("B").library();
  EXPECT_TRUE(emulator.UpdateVirtualDevice(Batch{drive, builder.library()}, "A"));
  EXPECT_TRUE(emulator.UpdateVirtualDevice(Batch{builder.library(), other, drive}, ""));
  EXPECT_EQ(compact(readFile(catalogue.listFile())), listXml({"B"}));
  EXPECT_EQ(elements("B"), Elements());
  EXPECT_EQ(catalogue.files().size(), 3U);
}

TEST(DeviceUpdate, AFailedUpdateOfAnExistingFileIsTrueAndLeavesItAlone) {
  const LibraryBuilder builder = LibraryBuilder("A").drives(500, 1);
  for (const std::string content :
       {"<Devices/>", "<Devices><Library/><a><Library/></a></Devices>",
        "<Devices><Library><Drive Name=\"drive_drv0001\"/></Library></Devices>"}) {
    TempCatalogue catalogue;
    writeFile(catalogue.libraryFile("A"), content);
    TqLibEmulator emulator;
    for (const SCSIUnit& device : {builder.library(), builder.drive(1)})
      EXPECT_TRUE(emulator.UpdateVirtualDevice(device, "A")) << content;
    EXPECT_EQ(catalogue.files(), (std::map<std::string, std::string>{{"Lib_A.xml", content}}));

    // A batch writes the file anew, yet with nothing new in it.
    EXPECT_TRUE(emulator.UpdateVirtualDevice(builder.batch(), "A")) << content;
    EXPECT_EQ(catalogue.files().size(), 1U);
    EXPECT_EQ(compact(readFile(catalogue.libraryFile("A"))), content);
  }
}

}  // namespace
}  // namespace tests
