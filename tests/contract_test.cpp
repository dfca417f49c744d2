// What embedders compile against: each member has exactly this signature, and the device records
// convert in every form of initialisation. A difference does not compile, or does not link.

#include <initializer_list>
#include <type_traits>

#include <gmock/gmock.h>

#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"

namespace {

using testing::Each;
using testing::Field;
using xercesc::DOMDocument;
using xercesc::DOMElement;
using xercesc::DOMNode;
using E = TqLibEmulator;
using V = TqLibEmlFile;

/// Compiles when each member of `Class` has an overload of this very signature.
template <typename Signature, typename Class = E>
void have(std::initializer_list<Signature Class::*> members) {
  for (const auto member : members) {
    EXPECT_NE(member, nullptr);
  }
}

TEST(Contract, OperationsOfTheCatalogue) {
  have<bool(const SCSIUnitNoMap&, const std::string&)>({&E::UpdateVirtualDevice});
  have<bool(const std::vector<SCSIUnitNoMap>&, const std::string&)>({&E::UpdateVirtualDevice});
  have<bool(const SCSIUnit&, const std::string&, bool)>({&E::UpdateVirtualDeviceNoLock});
  have<bool(const std::string&, std::vector<SCSIUnitNoMap>&)>({&E::GetVirtualDeviceInfo});
  have<bool(const std::string&, std::vector<SCSIUnitNoMap>&, const std::string&)>(
      {&E::GetVirtualDeviceInfo, &E::GetVirtualDeviceInfoNoLock});
  have<bool(const std::string&, const std::string&)>({&E::RemoveVirtualDevice});
  have<bool(const std::string&, const std::string&, const std::string&)>(
      {&E::RemoveVirtualDevice, &E::RemoveVirtualDeviceNoLock});
  have<bool(const std::string&, std::vector<LibElement>&)>({&E::GetVirtualLibraryElements});
  have<bool(const std::string&, const LibElement&, bool)>(
      {&E::SetVirtualLibraryElement, &E::SetVirtualLibraryElementNoLock});
  have<bool(const std::string&, const std::vector<LibElement>&, bool)>(
      {&E::SetVirtualLibraryElement});
  have<bool(const std::string&, int, int, int, int)>({&E::MoveVirtualLibraryElement});
  have<bool(const std::string&, int, int, int, int, int)>(
      {&E::SetVirtualDeviceStatus, &E::SetVirtualDeviceStatusNoLock});
  have<bool(const std::string&, int&, int&, int&, bool)>(
      {&E::GetVirtualDeviceStatus, &E::GetVirtualDeviceStatusNoLock});
  have<bool(const std::string&, std::string&)>({&E::GetCurrentVolume});
  have<bool(const std::string&, const std::string&, std::string&)>({&E::GetDriveVolumeNoLock});
}

TEST(Contract, DocumentsAndFilesOfTheCatalogue) {
  have<void()>({&E::init, &E::deInit});
  have<bool()>({&E::initXerces, &E::loadDocument});
  have<bool(std::string&)>({&E::GetMeridianInstallDir, &E::GetLibListFile});
  have<bool(const std::string&, std::string&)>({&E::GetLibFileName});
  have<std::string(const std::string&)>({&E::getLibXMLFile});
  have<bool(const std::string&)>({&E::isFilePresent});
  have<bool(DOMNode*)>({&E::saveDocument});
  have<bool(DOMNode*, const std::string&)>({&E::saveDocument});

  have<bool(DOMDocument*&, const std::string&, const std::string&)>(
      {&E::createNewLibList, &E::addToLibraryList, &E::removeFromLibraryList});
  have<bool(const std::string&, const std::string&)>(
      {&E::createNewLibraryFile, &E::addToLibraryListFile, &E::removeFromLibraryListFile});
}

TEST(Contract, ValuesInADocument) {
  have<DOMElement*(DOMDocument*, const XMLCh*, const XMLCh*)>({&E::newDOMElementWithValue});
  have<bool(DOMDocument*&, DOMElement*, const XMLCh*, const std::string&)>(
      {&E::updateDOMElementValue});
  have<bool(DOMNode*, std::string&)>({&E::getTextForNode, &E::setElemText});
  have<bool(DOMNode*, const XMLCh*, std::string&)>({&E::extractValuesFromChildNode});
  have<bool(DOMNode*, const XMLCh*, int&)>({&E::extractValuesFromChildNode});
  have<bool(DOMDocument*&, DOMNode*, std::string)>({&E::addTextNode, &E::updateTextNode});
  have<bool(DOMNode*, std::string)>({&E::removeTextNode});
  have<bool(const XMLCh*)>({&E::ConvertTobool});
}

TEST(Contract, DevicesInADocument) {
  have<bool(DOMNode*, SCSIUnit&)>(
      {&E::extractDeviceScsiUnit, &E::extractDeviceScsiDevice, &E::extractLibSpecificSCSIUnit});
  have<bool(DOMDocument*, DOMElement*, const SCSIUnit&)>(
      {&E::addDeviceScsiUnit, &E::addDeviceScsiDevice, &E::addLibSpecificInfo});
  have<bool(DOMDocument*&, DOMElement*, const SCSIUnit&)>(
      {&E::updateDeviceScsiUnit, &E::updateDeviceScsiDevice, &E::updateLibSpecificInfo});
  have<DOMNode*(DOMNode*, bool, const std::string&)>({&E::getScsiUnitForMA});
  have<bool(DOMNode*, const std::string&, SCSIUnit&, bool)>({&E::extractSCSIUnitAndDevice});
  have<void(SCSIUnit&)>({&E::clearSCSIUnit});
  have<bool(const SCSIUnit&)>({&E::isDeviceALibrary});

  have<bool(const SCSIUnit&, DOMDocument*&)>({&E::createNewLibrary, &E::updateLibrary});
  have<bool(DOMDocument*&, const SCSIUnit&, bool)>({&E::addNewDrive, &E::updateDrive});
  have<bool(const SCSIUnit&, DOMElement*, DOMDocument*&)>({&E::updateDriveIdentifierMap});
  have<bool(DOMElement*, std::string&)>({&E::getLibSerialNumber, &E::getDriveSerialNumber});
  have<int(const SCSIUnit&, const std::string&)>({&E::findDriveNumberForSerialNumber});
  have<int(int, int)>({&E::getDriveAddressFromDriveNumber, &E::getDriveNumberFromDriveAddress});

  have<DOMNode*(DOMNode*, const std::string&)>({&E::findDrive});
  have<bool(DOMNode*, const std::string&, bool)>({&E::removeScsiUnitforMA});
  have<bool(DOMDocument*&, const std::string&, const std::string&)>(
      {&E::removeDrive, &E::removeLibraryOrDrive});

  have<bool(DOMDocument*&, DOMNode*, int, int, int, int, int)>({&E::setVirtualDevStatusOnLib,
                                                                &E::addVirtualDevStatusOnLib,
                                                                &E::updateVirtualDevStatusOnLib});
  have<bool(DOMDocument*&, DOMNode*, int&, int&, int&, bool)>({&E::getVirtualDeviceStatusOnLib});
  have<bool(DOMNode*)>({&E::removeVirtualDeviceStatus});
  have<bool(DOMNode*, DOMNode*)>({&E::removeVirtualDeviceStatus});
}

TEST(Contract, ElementsInADocument) {
  have<void(LibElement&)>({&E::clearLibElement});
  have<bool(DOMNode*)>({&E::doesDriveBelongToLibrary});
  have<bool(DOMNode*, const std::string&)>({&E::isLibraryPresent});
  have<bool(DOMNode*, LibElement&)>(
      {&E::fillLibElementForDrive, &E::fillLibElementForSlot, &E::fillLibElementForShelf});
  have<bool(DOMNode*, int, std::map<int, DOMNode*>&)>({&E::getElementMap});
  have<bool(DOMNode*, int, int, DOMNode*&)>(
      {&E::findDriveElem, &E::findSlotElem, &E::findShelfElem, &E::findLibElemNode});
  have<bool(const std::vector<LibElement>&)>(
      {&E::UpdateVirtualLibraryElement, &E::RemoveVirtualLibraryElement});
  have<DOMElement*(DOMDocument*&, const LibElement&)>(
      {&E::addNewSlotElement, &E::addNewShelfElement});
  have<bool(DOMDocument*&, const LibElement&)>({&E::updateSlotElement, &E::removeSlot,
                                                &E::updateShelfElement, &E::removeShelf,
                                                &E::updateDriveElement});
  have<bool(DOMNode*, DOMNode*)>({&E::moveElemContents});
}

TEST(Contract, Volumes) {
  have<bool(int, unsigned long long, unsigned char*, unsigned long, unsigned long&)>(
      {&V::ReadDataForDrive});
  have<bool(int, unsigned long long, const unsigned char*, unsigned long, unsigned long&)>(
      {&V::WriteDataForDrive});
  have<bool(int&)>({&V::GetLastFileMark});
  have<bool(unsigned long long&)>({&V::GetVolumeSize});
  have<bool()>({&V::EraseVolume});
  have<bool(std::string&)>({&V::GetVolumeFolder});
  have<bool(int, std::string&)>({&V::GetVolumeFilename});
  have<int(unsigned int)>({&V::Err_Handler});
  EXPECT_NE(static_cast<bool (*)(const std::string&)>(&V::IsFilePresent), nullptr);
  EXPECT_NE(static_cast<int (*)(std::string&)>(&V::GetTQLibEMLXMLDir), nullptr);
  EXPECT_TRUE((std::is_same_v<decltype(DirectReadDataForDrive),
                              int(const char*, int, unsigned long long, unsigned char*,
                                  unsigned long, unsigned long*, int*, char*, int)>));
  EXPECT_TRUE((std::is_same_v<decltype(DirectWriteDataForDrive),
                              int(const char*, int, unsigned long long, const unsigned char*,
                                  unsigned long, unsigned long*, int*, char*, int)>));
}

TEST(Contract, ClassesThatEmbeddersDeriveFromOrHold) {
  EXPECT_TRUE((std::has_virtual_destructor_v<E> && std::is_base_of_v<MMS2BaseError, E>));
  EXPECT_TRUE((std::has_virtual_destructor_v<V> && std::is_base_of_v<MMS2BaseError, V>));
  EXPECT_TRUE((std::is_constructible_v<V, const std::string&>));
  EXPECT_FALSE(std::is_copy_constructible_v<TqCriticalSection>);
  EXPECT_TRUE((std::is_constructible_v<TqCriticalSectionLock, TqCriticalSection*>));
}

/// `record` as a `To`, in every form that initialises or assigns one.
template <typename To, typename From>
std::vector<To> converted(const From& record) {
  const auto returned = [&]() -> To { return {record}; };
  const auto handedOver = [](To to) { return to; };
  const auto copied = [](const To& to) { return to; };
  To copyBraces = {record};
  To copy = record;
  To direct(record);
  To array[] = {record};
  To inner[] = {{record}};
  To assigned;
  assigned = record;
  To assignedBraces;
  assignedBraces = {record};
  const std::unique_ptr<To> made(new To{record});

  std::vector<To> all{record,
                      To{record},
                      copyBraces,
                      copy,
                      direct,
                      array[0],
                      inner[0],
                      assigned,
                      assignedBraces,
                      *made,
                      returned(),
                      handedOver(record),
                      handedOver({record}),
                      copied(record),
                      copied({record})};
  all.push_back(record);
  all.push_back({record});
  all.emplace_back(record);
  all.insert(all.end(), {record, record});
  return all;
}

TEST(Contract, DeviceRecordsConvertInEveryForm) {
  SCSIUnitNoMap flat;
  flat.SerialNumber = "LIB1";
  flat.DriveIdentifierMap = "Map|1|7|SN7|EOM";
  const std::map<int, std::string> map{{7, "SN7"}};
  const SCSIUnit unit = converted<SCSIUnit>(flat).front();
  EXPECT_EQ(unit.SerialNumber, flat.SerialNumber);
  EXPECT_THAT(converted<SCSIUnit>(flat), Each(Field(&SCSIUnit::DriveIdentifierMap, map)));
  EXPECT_THAT(converted<SCSIUnit>(unit), Each(Field(&SCSIUnit::DriveIdentifierMap, map)));
  for (const auto& all : {converted<SCSIUnitNoMap>(unit), converted<SCSIUnitNoMap>(flat)})
    EXPECT_THAT(all, Each(Field(&SCSIUnitNoMap::DriveIdentifierMap, flat.DriveIdentifierMap)));
}

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

TEST(XmlText, IsRefusedWhenMalformedAndCutInNamesOnly) {
  EXPECT_EQ(MyTranscode(static_cast<const XMLCh*>(nullptr)), "");
  EXPECT_THROW(MyTranscode("A\xED\xA0\x80"), std::range_error);

  const XMLCh* first = GetConstXMLCh(std::wstring(5000, L'a').c_str());
  EXPECT_EQ(MyTranscode(GetConstXMLCh1(L"second")), "second");
  EXPECT_EQ(MyTranscode(first), std::string(1023, 'a'));
  char digits[21];
  EXPECT_STREQ(itoa(255, digits, 16), "255");
  EXPECT_STREQ(itoa(-9223372036854775807L - 1, digits, 10), "-9223372036854775808");
}

}  // namespace
