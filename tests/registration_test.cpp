#include <gtest/gtest.h>

#include "LoadedDocument.h"

namespace tests {
namespace {

/// The children of an element in order: its tag, or its `Name` or `MAName` where it has one.
std::string children(xercesc::DOMElement* parent) {
  std::string all;
  for (auto* child = parent->getFirstElementChild(); child != nullptr;
       child = child->getNextElementSibling()) {
    std::string name = MyTranscode(child->getAttribute(u"Name"));
    if (name.empty()) name = MyTranscode(child->getAttribute(u"MAName"));
    all += (all.empty() ? "" : " ") + (name.empty() ? MyTranscode(child->getTagName()) : name);
  }
  return all;
}

const std::string kHead =
    "SlotCount SlotBaseAddress IEPortCount IEPortBaseAddress DriveCount DriveBaseAddress "
    "LibraryScsiDevice";

/// A library document as a new library gets it.
class NewLibrary {
public:
  explicit NewLibrary(const LibraryBuilder& builder) {
    emulator.initXerces();
    created = emulator.createNewLibrary(builder.library(), document);
  }
  ~NewLibrary() {
    if (document != nullptr) document->release();
  }
  NewLibrary(const NewLibrary&) = delete;
  NewLibrary& operator=(const NewLibrary&) = delete;

  xercesc::DOMElement* library() const {
    return document->getDocumentElement()->getFirstElementChild();
  }
  int address(int drive) const {
    const auto* node = library()->getElementsByTagName(u"Drive")->item(XMLSize_t(drive));
    int value = 0;
    TqLibEmulator().extractValuesFromChildNode(const_cast<xercesc::DOMNode*>(node), u"BaseAddress",
                                               value);
    return value;
  }

  TempCatalogue catalogue;
  TqLibEmulator emulator;
  xercesc::DOMDocument* document = nullptr;
  bool created = false;
};

TEST(Registration, CreatesMailSlotsThenSlotsInAscendingOrder) {
  NewLibrary many(LibraryBuilder("L").mailSlots(10, 2).slots(1000, 3));
  ASSERT_TRUE(many.created);
  EXPECT_EQ(children(many.library()),
            kHead + " hosta Slot_10 Slot_11 Slot_1000 Slot_1001 Slot_1002");
  EXPECT_EQ(MyTranscode(many.library()->getAttribute(u"Name")), "Lib_L");
  std::string mail;
  auto* slots = many.library()->getElementsByTagName(u"Slots");
  for (XMLSize_t i = 0; i < slots->getLength(); ++i) {
    auto* slot = dynamic_cast<xercesc::DOMElement*>(slots->item(i));
    mail += MyTranscode(slot->getAttribute(u"IsMailSlot")) + " ";
    EXPECT_EQ(MyTranscode(slot->getAttribute(u"IsOccupied")), "false");
  }
  EXPECT_EQ(mail, "true true false false false ");

  NewLibrary none(LibraryBuilder("L").mailSlots(10, -2).slots(1000, 0));
  ASSERT_TRUE(none.created);
  EXPECT_EQ(children(none.library()), kHead + " hosta");
}

TEST(Registration, KeepsDrivesAheadOfTheSlotsAndUnitsTogether) {
  const LibraryBuilder builder = LibraryBuilder("L").slots(1000, 1).drives(500, 2);
  NewLibrary doc(builder);
  ASSERT_TRUE(doc.emulator.updateDrive(doc.document, builder.drive(1), false));
  ASSERT_TRUE(doc.emulator.updateDrive(doc.document, builder.drive(2), false));
  const SCSIUnit other = LibraryBuilder(builder).host("hostb").library();
  ASSERT_TRUE(doc.emulator.updateLibrary(other, doc.document));
  ASSERT_TRUE(
      doc.emulator.updateLibrary(LibraryBuilder(builder).host("HOSTA").library(), doc.document));
  EXPECT_EQ(children(doc.library()), kHead + " HOSTA hostb Drive_DRV0001 Drive_DRV0002 Slot_1000");

  NewLibrary empty(LibraryBuilder("L").drives(500, 1));
  ASSERT_TRUE(empty.emulator.addNewDrive(empty.document, builder.drive(1), false));
  EXPECT_EQ(children(empty.library()), kHead + " hosta Drive_DRV0001");
  empty.library()
      ->removeChild(empty.library()->getElementsByTagName(u"LibraryScsiUnit")->item(0))
      ->release();
  ASSERT_TRUE(empty.emulator.updateLibrary(other, empty.document));
  EXPECT_EQ(children(empty.library()), kHead + " hostb Drive_DRV0001");
}

TEST(Registration, KeepsOneDriveForASerialNumberAndOneUnitForAHost) {
  const LibraryBuilder builder = LibraryBuilder("L").drives(500, 1);
  NewLibrary doc(builder);
  SCSIUnit drive = builder.drive(1);
  ASSERT_TRUE(doc.emulator.updateDrive(doc.document, drive, false));
  for (const char* host : {"HOSTA", "hostb", "hostB"}) {
    drive.SerialNumber = "drv0001";
    drive.MAName = host;
    drive.ScsiDeviceType = 5;
    ASSERT_TRUE(doc.emulator.updateDrive(doc.document, drive, false));
  }
  auto* drives = doc.library()->getElementsByTagName(u"Drive");
  ASSERT_EQ(drives->getLength(), 1U);
  EXPECT_EQ(children(dynamic_cast<xercesc::DOMElement*>(drives->item(0))),
            "BarCode BaseAddress DriveScsiDevice HOSTA hostB");
  EXPECT_EQ(doc.address(0), -999999);
  std::string serial;
  auto* found = dynamic_cast<xercesc::DOMElement*>(drives->item(0));
  EXPECT_TRUE(doc.emulator.getDriveSerialNumber(found, serial));
  EXPECT_EQ(serial, "drv0001");
  EXPECT_FALSE(doc.emulator.getLibSerialNumber(found, serial));
}

TEST(Registration, AddressesTheDrivesOfTheMap) {
  const LibraryBuilder builder = LibraryBuilder("L").drives(500, 4);
  NewLibrary doc(builder);
  for (int number = 1; number <= 4; ++number)
    ASSERT_TRUE(doc.emulator.updateDrive(doc.document, builder.drive(number), false));
  SCSIUnit record = builder.library();
  record.DriveIdentifierMap = {{-1, "DRV0001"}, {0, "DRV0001"}, {2, "DRV0002"},
                               {4, "DRV0002"},  {5, "drv0003"}, {9, "DRV0004"}};
  ASSERT_TRUE(doc.emulator.updateLibrary(record, doc.document));
  EXPECT_EQ(doc.address(0), -999999);  // number 0 and below mean not found
  EXPECT_EQ(doc.address(1), 501);
  EXPECT_EQ(doc.address(2), -999999);  // serial numbers are compared as written
  EXPECT_EQ(doc.address(3), 508);      // the count of drives is no limit
  EXPECT_TRUE(doc.catalogue.logged("Failed to look up SerialNumber DRV0001 for drive"));
  EXPECT_TRUE(doc.catalogue.logged("Failed to look up SerialNumber DRV0003 for drive"));
  EXPECT_FALSE(doc.catalogue.logged("DRV0002"));

  record.DriveIdentifierMap = {{1, "DRV0004"}};
  ASSERT_TRUE(doc.emulator.updateLibrary(record, doc.document));
  EXPECT_EQ(doc.address(1), 501);
  EXPECT_EQ(doc.address(3), 500);
  EXPECT_EQ(doc.emulator.getDriveAddressFromDriveNumber(500, 1), 500);
  EXPECT_EQ(doc.emulator.getDriveNumberFromDriveAddress(500, 503), 4);
}

TEST(Registration, RefusesADocumentThatDoesNotHoldExactlyWhatItMust) {
  const LibraryBuilder builder = LibraryBuilder("L").drives(500, 1);
  for (const char* xml : {"<Devices/>", "<Devices><Library/><a><Library/></a></Devices>"}) {
    LoadedDocument doc(xml);
    TqLibEmulator& e = doc.emulator;
    EXPECT_FALSE(e.updateLibrary(builder.library(), doc.document())) << xml;
    EXPECT_FALSE(e.addNewDrive(doc.document(), builder.drive(1), false)) << xml;
    EXPECT_FALSE(e.updateDrive(doc.document(), builder.drive(1), false)) << xml;
    EXPECT_EQ(doc.text(), compact(xml));
    EXPECT_TRUE(e.updateDrive(doc.document(), builder.drive(1), true)) << xml;
    EXPECT_EQ(children(doc.root()).substr(children(doc.root()).rfind(' ') + 1), "Drive_DRV0001");
  }
  LoadedDocument two(R"(<Devices><Drive Name="drive_drv0001"><DriveScsiDevice/>)"
                     "<DriveScsiDevice/></Drive></Devices>");
  EXPECT_FALSE(two.emulator.updateDrive(two.document(), builder.drive(1), true));
  xercesc::DOMDocument* none = nullptr;
  EXPECT_FALSE(two.emulator.updateLibrary(builder.library(), none));
  EXPECT_FALSE(two.emulator.updateDrive(none, builder.drive(1), false));
}

}  // namespace
}  // namespace tests
