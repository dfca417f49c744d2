// Files, texts and names that the catalogue must refuse, and what a refusal leaves on disk.
#include <gtest/gtest.h>

#include <ctime>
#include <exception>
#include <functional>

#include "LoadedDocument.h"

namespace tests {
namespace {

namespace fs = std::filesystem;

/// Every operation on the library `key`, changing or not; none of them may succeed.
void expectRefusedByAll(const std::string& key) {
  TqLibEmulator emulator;
  std::vector<LibElement> found;
  const LibElement slot = element(LIB_ELEM_SLOT, 1000, "T1");
  EXPECT_FALSE(emulator.GetVirtualLibraryElements(key, found));
  EXPECT_TRUE(found.empty());
  EXPECT_FALSE(emulator.SetVirtualLibraryElement(key, slot, false));
  EXPECT_FALSE(emulator.SetVirtualLibraryElement(key, slot, true));
  EXPECT_FALSE(emulator.SetVirtualLibraryElement(key, std::vector<LibElement>{slot}, false));
  EXPECT_FALSE(emulator.SetVirtualLibraryElement(key, std::vector<LibElement>{slot}, true));
  EXPECT_FALSE(emulator.MoveVirtualLibraryElement(key, 2, 1000, 2, 1001));
  EXPECT_FALSE(emulator.UpdateVirtualDevice(LibraryBuilder(key).drive(1), key));
  EXPECT_FALSE(emulator.UpdateVirtualDevice(LibraryBuilder(key).batch(), key));
}

TEST(BadInput, EveryPrefixOfALibraryFileIsRefusedOrWhole) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).drives(500, 1).build();
  const std::string file = catalogue.libraryFile("A");
  const std::string whole = readFile(file);
  const std::vector<std::string> all = elements("A");
  ASSERT_EQ(all.size(), 2U);
  std::size_t refused = 0;
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    const std::string prefix = whole.substr(0, length);
    writeFile(file, prefix);
    TqLibEmulator emulator;
    std::vector<LibElement> found;
    if (emulator.GetVirtualLibraryElements("A", found)) {
      EXPECT_EQ(found.size(), all.size()) << length;
    } else {
      ++refused;
      EXPECT_TRUE(found.empty()) << length;
      EXPECT_EQ(emulator.getErrorCode(), 50005) << length;
      EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", element(2, 1000, "T1"), false));
      EXPECT_EQ(readFile(file), prefix) << length;
    }
  }
  EXPECT_GE(refused, whole.size() - 1);  // only the last line's end may be missing
}

struct Hostile {
  const char* name;
  std::string prologue;
};

class HostileXml : public testing::TestWithParam<Hostile> {};

TEST_P(HostileXml, IsRefusedAtOnceInALibraryAndInTheList) {
  TempCatalogue catalogue;
  const std::string prologue = GetParam().prologue;
  const std::string xml = prologue +
                          R"(<Devices><Library Name="Lib_A"><SlotCount>&e9;</SlotCount>)"
                          R"(<Slots IsMailSlot="false"><BaseAddress>1000</BaseAddress><BarCode/>)"
                          "</Slots></Library></Devices>";
  writeFile(catalogue.libraryFile("A"), xml);
  writeFile(catalogue.listFile(), prologue + "<LibraryList>&e9;</LibraryList>");
  const auto before = catalogue.files();
  const std::clock_t start = std::clock();
  expectRefusedByAll("A");
  EXPECT_FALSE(TqLibEmulator().UpdateVirtualDevice(LibraryBuilder("B").library(), ""));
  EXPECT_LT(double(std::clock() - start) / CLOCKS_PER_SEC, 2.0);
  EXPECT_EQ(catalogue.files(), before);
  EXPECT_TRUE(catalogue.logged(catalogue.libraryFile("A")));
}

std::string bomb(const std::string& tail) {
  std::string text = "<!DOCTYPE Devices [<!ENTITY e0 'lololololo'>";
  for (int i = 1; i <= 9; ++i) {
    text += "<!ENTITY e" + std::to_string(i) + " '";
    for (int k = 0; k < 10; ++k) text += "&e" + std::to_string(i - 1) + ";";
    text += "'>";
  }
  return text + tail + "]>";
}

INSTANTIATE_TEST_SUITE_P(
    Table, HostileXml,
    testing::Values(
        Hostile{"NestedEntities", bomb("")},
        Hostile{"NestedEntitiesInAnAttributeDefault",
                bomb("<!ATTLIST Devices x CDATA '&e9;'><!ATTLIST LibraryList x CDATA '&e9;'>")},
        Hostile{"OneHarmlessEntity", "<!DOCTYPE Devices [<!ENTITY e9 '2'>]>"},
        Hostile{"FileAsEntity", "<!DOCTYPE Devices [<!ENTITY e9 SYSTEM 'file:///etc/hostname'>]>"},
        Hostile{"ParameterEntity",
                "<!DOCTYPE Devices [<!ENTITY % p SYSTEM 'file:///etc/hostname'> %p;]>"},
        Hostile{"UndefinedEntity", ""}),
    [](const auto& test) { return test.param.name; });

TEST(BadInput, AnExternalDocumentTypeIsNotRead) {
  TempCatalogue catalogue;
  writeFile(catalogue.catalogue() + "x.dtd", "<!ATTLIST Slots IsOccupied CDATA 'false'>");
  writeFile(catalogue.libraryFile("A"),
            R"(<!DOCTYPE Devices SYSTEM "x.dtd"><Devices><Library Name="Lib_A"><Slots>)"
            "<BaseAddress>1</BaseAddress><BarCode>T1</BarCode></Slots></Library></Devices>");
  // Without the attribute the slot counts as an occupied mail slot.
  EXPECT_EQ(elements("A"), std::vector<std::string>{"3@1:T1"});
}

class UnstorableText : public testing::TestWithParam<std::string> {};

TEST_P(UnstorableText, IsRefusedByEveryChangeBeforeAnythingIsWritten) {
  const std::string bad = "A" + GetParam() + "B";
  TempCatalogue catalogue;
  const LibraryBuilder builder = LibraryBuilder("A").slots(1000, 1).drives(500, 1);
  builder.build();
  const auto before = catalogue.files();
  TqLibEmulator emulator;
  const LibElement slot = element(LIB_ELEM_SLOT, 1000, bad);
  for (const LibElement& e : {slot, element(4, 500, bad), element(5, 1, bad), element(3, 1, bad)}) {
    EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", e, false));
    const std::vector<LibElement> both{element(2, 1000, "T1"), e};
    EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", both, false));
    EXPECT_EQ(catalogue.files(), before);
  }
  for (std::string SCSIUnitFields::*const field :
       {&SCSIUnitFields::Model, &SCSIUnitFields::Manufacturer, &SCSIUnitFields::FirmwareRevision,
        &SCSIUnitFields::MAName, &SCSIUnitFields::ScsiPort, &SCSIUnitFields::AccessPath,
        &SCSIUnitFields::SerialNumber}) {
    SCSIUnit drive = builder.drive(1);
    SCSIUnit known = builder.library();
    SCSIUnit fresh = LibraryBuilder("NEW").library();
    drive.*field = known.*field = fresh.*field = bad;
    EXPECT_FALSE(emulator.UpdateVirtualDevice(drive, "A"));
    EXPECT_FALSE(emulator.UpdateVirtualDevice(known, ""));
    EXPECT_FALSE(emulator.UpdateVirtualDevice(fresh, ""));
    const std::vector<std::vector<SCSIUnitNoMap>> batches{
        {builder.library(), drive}, {drive}, {known}};
    for (const auto& batch : batches)
      EXPECT_THROW(emulator.UpdateVirtualDevice(batch, "A"), std::exception);
    EXPECT_THROW(emulator.UpdateVirtualDevice(std::vector<SCSIUnitNoMap>{fresh}, "NEW"),
                 std::exception);
    EXPECT_EQ(catalogue.files(), before);
  }
  EXPECT_TRUE(emulator.UpdateVirtualDevice(builder.batch(), "A"));  // the object goes on
  EXPECT_EQ(compact(readFile(catalogue.libraryFile("A"))), compact(before.at("Lib_A.xml")));
}

INSTANTIATE_TEST_SUITE_P(Table, UnstorableText,
                         testing::Values("\x01", "\x1F", "\xFF", "\xC3", "\xC0\x80", "\xED\xA0\x80",
                                         "\xF4\x90\x80\x80", "\xEF\xBF\xBE", "\xEF\xBF\xBF",
                                         std::string(1, '\0')));

class ImpossibleName : public testing::TestWithParam<std::string> {};

TEST_P(ImpossibleName, IsRefusedBeforeAnythingIsTouched) {
  const std::string& name = GetParam();
  TempCatalogue catalogue;
  LibraryBuilder("a").slots(1000, 2).build();
  fs::create_directory(catalogue.catalogue() + "Lib_a");
  fs::copy_file(catalogue.libraryFile("a"), catalogue.catalogue() + "Lib_a/b.xml");
  const auto before = catalogue.files();
  expectRefusedByAll(name);
  EXPECT_FALSE(TqLibEmulator().UpdateVirtualDevice(LibraryBuilder(name).library(), ""));
  EXPECT_EQ(catalogue.files(), before);
  EXPECT_EQ(readFile(catalogue.catalogue() + "Lib_a/b.xml"), readFile(catalogue.libraryFile("a")));
}

INSTANTIATE_TEST_SUITE_P(Table, ImpossibleName,
                         testing::Values("a/b", "a/../Lib_a", "/", ".", "..", std::string("a\0", 2),
                                         std::string("a.xml\0x", 7), std::string(248, 'k'),
                                         std::string(300, 'k')));

}  // namespace
}  // namespace tests
