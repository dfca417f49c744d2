#include <gtest/gtest.h>

#include "LoadedDocument.h"

namespace tests {
namespace {

const std::string kUnit =
    R"(<LibraryScsiUnit MAName="hosta"><ScsiPort>2</ScsiPort><AccessPath>/dev/sg3</AccessPath>)"
    R"(<Bus>0</Bus><Target>1</Target><Lun>3</Lun></LibraryScsiUnit>)";
const std::string kDevice =
    R"(<LibraryScsiDevice><Model>M</Model><Manufacturer>A</Manufacturer>)"
    R"(<SerialNumber>S</SerialNumber><FirmwareRevision>F</FirmwareRevision>)"
    R"(<ScsiDeviceType>8</ScsiDeviceType></LibraryScsiDevice>)";
const std::string kLibrary = "<Library>" + kDevice + kUnit + "</Library>";
const std::string kDrive =
    R"(<Drive><BaseAddress>501</BaseAddress><DriveScsiDevice><SerialNumber>D</SerialNumber>)"
    R"(</DriveScsiDevice><DriveScsiUnit MAName="hosta"><Lun>1</Lun></DriveScsiUnit>)"
    R"(<DriveScsiUnit MAName="HOSTA"><Lun>2</Lun></DriveScsiUnit></Drive>)";

std::string with(std::string xml, const std::string& from, const std::string& to) {
  return xml.replace(xml.find(from), from.size(), to);
}

struct Fault {
  std::string xml;
  bool isLibrary;
  int code;
  std::string text;
  std::string log;
};

class DeviceRecordFault : public testing::TestWithParam<Fault> {};

TEST_P(DeviceRecordFault, NamesWhatCannotBeRead) {
  const Fault& c = GetParam();
  LoadedDocument doc("<Devices>" + c.xml + "</Devices>");
  SCSIUnit unit;
  EXPECT_FALSE(doc.emulator.extractSCSIUnitAndDevice(doc.root()->getFirstElementChild(), "hostA",
                                                     unit, c.isLibrary));
  EXPECT_EQ(doc.emulator.getErrorCode(), c.code);
  EXPECT_EQ(lastError(doc.emulator), c.text);
  EXPECT_TRUE(c.log.empty() ? doc.catalogue.log().empty() : doc.catalogue.logged(c.log))
      << doc.catalogue.log();
}

INSTANTIATE_TEST_SUITE_P(
    Table, DeviceRecordFault,
    testing::Values(
        Fault{"<Library>" + kDevice + "</Library>", true, 0, "", ""},
        Fault{with(kLibrary, "<Lun>3", "<Lun><x/>"), true, 50001,
              "Failed to read value for Element Lun",
              "Failed to read values from ScsiUnit for MA hostA due to error Failed to read value "
              "for Element Lun"},
        Fault{with(kLibrary, ">/dev/sg3", "><x/>"), true, 50001,
              "Failed to read value for Element AccessPath", "Element AccessPath"},
        Fault{with(kDrive, "501", "<x/>"), false, 50002, "Element address not found for drive",
              "Element address not found for drive"},
        Fault{"<Library>" + kUnit + "</Library>", true, 50003, "",
              "Failed to read values from ScsiDevice for MA hostA due to error "},
        Fault{with(kLibrary, "<Model>M", "<Model><x/>"), true, 50003,
              "Failed to read value for Element Model",
              "Failed to read values from ScsiDevice for MA hostA due to error Failed to read "
              "value for Element Model"},
        Fault{with(kLibrary, "<Library>", "<Library><DriveBaseAddress><x/></DriveBaseAddress>"),
              true, 50004, "Failed to read value for Element DriveBaseAddress",
              "Failed to read Library Specific Information for MA hostA due to error Failed to "
              "read value for Element DriveBaseAddress"}));

TEST(DeviceRecords, AreReadWithMissingValuesAndTheLastMatchingUnit) {
  LoadedDocument doc("<Devices>" + kLibrary + kDrive + "</Devices>");
  SCSIUnit unit;
  ASSERT_TRUE(doc.emulator.extractSCSIUnitAndDevice(doc.at(u"Drive"), "HostA", unit, false));
  EXPECT_EQ(unit.Lun, 2);
  EXPECT_EQ(unit.MAName, "HOSTA");
  EXPECT_EQ(unit.DriveBaseAddress, 501);
  EXPECT_EQ(unit.SerialNumber, "D");

  unit.IEPortBaseAddress = 77;
  ASSERT_TRUE(doc.emulator.extractSCSIUnitAndDevice(doc.at(u"Library"), "", unit, true));
  EXPECT_EQ(unit.MAName + unit.AccessPath + unit.SerialNumber, "hosta/dev/sg3S");
  EXPECT_EQ(unit.ScsiDeviceType, 8);
  EXPECT_EQ(unit.DriveBaseAddress, 0);
  EXPECT_EQ(unit.IEPortBaseAddress, 0);

  doc.emulator.clearSCSIUnit(unit);
  EXPECT_EQ(unit.MAName, "hosta");  // callers set it before they clear
  EXPECT_TRUE(doc.emulator.extractSCSIUnitAndDevice(doc.at(u"Library"), "other", unit, true));
  EXPECT_EQ(unit.MAName + unit.AccessPath, "hosta");
  EXPECT_EQ(unit.Lun, -1);
  EXPECT_FALSE(doc.emulator.extractSCSIUnitAndDevice(nullptr, "", unit, true));
}

TEST(DeviceRecords, TolerateAnUnreadableImportExportAddressOnly) {
  LoadedDocument doc(
      "<Devices>" +
      with(kLibrary, "<Library>", "<Library><IEPortBaseAddress><x/></IEPortBaseAddress>") +
      "</Devices>");
  SCSIUnit unit;
  unit.IEPortBaseAddress = 77;
  EXPECT_TRUE(doc.emulator.extractSCSIUnitAndDevice(doc.at(u"Library"), "", unit, true));
  EXPECT_EQ(unit.IEPortBaseAddress, -1);
}

TEST(DeviceRecords, FindTheFirstUnitOfAHostInAnyCase) {
  LoadedDocument doc("<Devices>" + kDrive + "</Devices>");
  xercesc::DOMNode* drive = doc.at(u"Drive");
  EXPECT_EQ(doc.emulator.getScsiUnitForMA(drive, false, "HOSTa"), doc.at(u"DriveScsiUnit"));
  EXPECT_EQ(doc.emulator.getScsiUnitForMA(drive, false, ""), doc.at(u"DriveScsiUnit"));
  EXPECT_EQ(doc.emulator.getScsiUnitForMA(drive, false, "hostab"), nullptr);
  EXPECT_EQ(doc.emulator.getScsiUnitForMA(drive, true, "hosta"), nullptr);
}

TEST(DeviceRecords, UpdateEverythingButTheDeviceType) {
  LoadedDocument doc("<Devices>" + kLibrary + "</Devices>");
  SCSIUnit unit = LibraryBuilder("NEW").host("hostb").library();
  unit.ScsiDeviceType = 1;
  TqLibEmulator& e = doc.emulator;
  EXPECT_TRUE(e.updateDeviceScsiDevice(doc.document(), doc.at(u"LibraryScsiDevice"), unit));
  EXPECT_TRUE(e.updateDeviceScsiUnit(doc.document(), doc.at(u"LibraryScsiUnit"), unit));
  EXPECT_FALSE(e.updateLibSpecificInfo(doc.document(), doc.at(u"Library"), unit));  // none there
  SCSIUnit read;
  ASSERT_TRUE(e.extractSCSIUnitAndDevice(doc.at(u"Library"), "hostb", read, true));
  EXPECT_EQ(read.SerialNumber + read.Model + read.Manufacturer, "NEWVL-100ACME");
  EXPECT_EQ(read.ScsiDeviceType, 8);
  EXPECT_EQ(read.Lun, 0);
  EXPECT_TRUE(e.isDeviceALibrary(read));
  EXPECT_FALSE(e.isDeviceALibrary(unit));
  EXPECT_FALSE(e.isDeviceALibrary(SCSIUnit()));
}

}  // namespace
}  // namespace tests
