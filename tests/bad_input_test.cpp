// Files, texts and names that the catalogue must refuse, and what a refusal leaves on disk.
#include <gtest/gtest.h>

#include <ctime>
#include <exception>

#include "LoadedDocument.h"

namespace tests {
namespace {

namespace fs = std::filesystem;
using Batch = std::vector<SCSIUnitNoMap>;

/// Every operation on the library `key`, changing or not; none of them may succeed.
void expectRefusedByAll(const std::string& key) {
  TqLibEmulator emulator;
  std::vector<LibElement> found;
  const std::vector<LibElement> slot = described("2@1000:T1");
  EXPECT_FALSE(emulator.GetVirtualLibraryElements(key, found));
  EXPECT_TRUE(found.empty());
  for (const bool remove : {false, true}) {
    EXPECT_FALSE(emulator.SetVirtualLibraryElement(key, slot[0], remove));
    EXPECT_FALSE(emulator.SetVirtualLibraryElement(key, slot, remove));
  }
  EXPECT_FALSE(emulator.MoveVirtualLibraryElement(key, 2, 1000, 2, 1001));
  EXPECT_FALSE(emulator.UpdateVirtualDevice(LibraryBuilder(key).drive(1), key));
  EXPECT_FALSE(emulator.UpdateVirtualDevice(LibraryBuilder(key).batch(), key));
}

TEST(BadInput, EveryPrefixOfALibraryFileIsRefused) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).drives(500, 1).build();
  const std::string file = catalogue.libraryFile("A");
  const std::string whole = readFile(file);
  for (std::size_t length = 0; length + 1 < whole.size(); ++length) {  // but the last line end
    const std::string prefix = whole.substr(0, length);
    writeFile(file, prefix);
    EXPECT_EQ(elements("A"), std::vector<std::string>{"refused"}) << length;
    TqLibEmulator emulator;
    EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", element(2, 1000, "T1"), false));
    EXPECT_EQ(emulator.getErrorCode(), 50005) << length;
    EXPECT_EQ(readFile(file), prefix) << length;
  }
}

std::string bomb() {
  std::string text = "<!DOCTYPE Devices [<!ENTITY e0 'lololololo'>";
  for (int i = 1; i <= 9; ++i) {
    text += "<!ENTITY e" + std::to_string(i) + " '";
    for (int k = 0; k < 10; ++k) text += "&e" + std::to_string(i - 1) + ";";
    text += "'>";
  }
  return text + "<!ATTLIST Devices x CDATA '&e9;'><!ATTLIST LibraryList x CDATA '&e9;'>]>";
}

TEST(BadInput, EntitiesAreRefusedAtOnceInALibraryAndInTheList) {
  for (const std::string& prologue :
       {bomb(), std::string("<!DOCTYPE Devices [<!ENTITY e9 SYSTEM 'file:///etc/hostname'>]>"),
        std::string("<!DOCTYPE Devices [<!ENTITY % p SYSTEM 'file:///etc/hostname'> %p;]>"),
        std::string()}) {
    SCOPED_TRACE(prologue);
    TempCatalogue catalogue;
    writeFile(catalogue.libraryFile("A"),
              prologue + R"(<Devices><Library Name="Lib_A"><SlotCount>&e9;</SlotCount>)"
                         R"(<Slots IsMailSlot="false"><BaseAddress>1000</BaseAddress><BarCode/>)"
                         "</Slots></Library></Devices>");
    writeFile(catalogue.listFile(), prologue + "<LibraryList>&e9;</LibraryList>");
    const auto before = catalogue.files();
    const std::clock_t start = std::clock();
    expectRefusedByAll("A");
    EXPECT_FALSE(TqLibEmulator().UpdateVirtualDevice(LibraryBuilder("B").library(), ""));
    EXPECT_LT(double(std::clock() - start) / CLOCKS_PER_SEC, 2.0);
    EXPECT_EQ(catalogue.files(), before);
    EXPECT_TRUE(catalogue.logged(catalogue.libraryFile("A")));
  }
}

TEST(BadInput, AnExternalDocumentTypeIsNotRead) {
  TempCatalogue catalogue;
  writeFile(catalogue.catalogue() + "x.dtd", "<!ATTLIST Slots IsOccupied CDATA 'false'>");
  writeFile(catalogue.libraryFile("A"),
            R"(<!DOCTYPE Devices SYSTEM "x.dtd"><Devices><Library Name="Lib_A"><Slots>)"
            "<BaseAddress>1</BaseAddress><BarCode>T1</BarCode></Slots></Library></Devices>");
  // Without the attribute the slot counts as an occupied mail slot.
  EXPECT_EQ(elements("A"), std::vector<std::string>{"3@1:T1"});
}

TEST(BadInput, TextThatXmlCannotCarryIsRefusedByEveryChangeBeforeAnythingIsWritten) {
  TempCatalogue catalogue;
  const LibraryBuilder builder = LibraryBuilder("A").slots(1000, 1).drives(500, 1);
  builder.build();
  const auto before = catalogue.files();
  TqLibEmulator emulator;
  for (const std::string& text :
       {std::string(1, '\0'), std::string("\x1F"), std::string("\xFF"), std::string("\xC3"),
        std::string("\xF0"), std::string("\xE0\x80\x80"), std::string("\xED\xA0\x80"),
        std::string("\xF4\x90\x80\x80"), std::string("\xEF\xBF\xBE"),
        std::string("\xEF\xBF\xBF")}) {
    const std::string bad = "A" + text + "B";
    SCOPED_TRACE(testing::PrintToString(bad));
    for (LibElement e : described("2@1000:T1 4@500:T1 5@1:T1 3@1:T1")) {
      e.barCode = bad;
      EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", e, false));
      EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", {element(2, 1000, "T1"), e}, false));
    }
    for (std::string SCSIUnitFields::*const field :
         {&SCSIUnitFields::Model, &SCSIUnitFields::Manufacturer, &SCSIUnitFields::FirmwareRevision,
          &SCSIUnitFields::MAName, &SCSIUnitFields::ScsiPort, &SCSIUnitFields::AccessPath,
          &SCSIUnitFields::SerialNumber}) {
      SCSIUnit drive = builder.drive(1), known = builder.library();
      SCSIUnit fresh = LibraryBuilder("NEW").library();
      drive.*field = known.*field = fresh.*field = bad;
      for (const SCSIUnit& record : {drive, known, fresh})
        EXPECT_FALSE(emulator.UpdateVirtualDevice(record, "A"));
      for (const auto& batch : {Batch{builder.library(), drive}, {drive}, {known}})
        EXPECT_THROW(emulator.UpdateVirtualDevice(batch, "A"), std::exception);
      EXPECT_THROW(emulator.UpdateVirtualDevice(Batch{fresh}, "NEW"), std::exception);
    }
    EXPECT_EQ(catalogue.files(), before);
  }
  EXPECT_TRUE(emulator.UpdateVirtualDevice(builder.batch(), "A"));  // the object goes on
  EXPECT_EQ(compact(readFile(catalogue.libraryFile("A"))), compact(before.at("Lib_A.xml")));
}

TEST(BadInput, AnImpossibleNameIsRefusedBeforeAnythingIsTouched) {
  TempCatalogue catalogue;
  LibraryBuilder("a").slots(1000, 2).build();
  fs::create_directory(catalogue.catalogue() + "Lib_a");
  fs::copy_file(catalogue.libraryFile("a"), catalogue.catalogue() + "Lib_a/b.xml");
  const auto before = catalogue.files();
  using namespace std::string_literals;
  for (const std::string& name : {"a/b"s, "a/../Lib_a"s, "/"s, "."s, ".."s, "a\0"s, "a.xml\0x"s,
                                  std::string(248, 'k'), std::string(300, 'k')}) {
    expectRefusedByAll(name);
    EXPECT_FALSE(TqLibEmulator().UpdateVirtualDevice(LibraryBuilder(name).library(), ""));
    EXPECT_EQ(catalogue.files(), before);
    EXPECT_EQ(readFile(catalogue.catalogue() + "Lib_a/b.xml"), before.at("Lib_a.xml"));
  }
}

}  // namespace
}  // namespace tests
