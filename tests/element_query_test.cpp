#include <gtest/gtest.h>

#include "SmallLibrary.h"

namespace tests {
namespace {

TEST(ElementQuery, ReportsDrivesThenSlotsThenShelvesAndAppends) {
  TempCatalogue catalogue;
  const std::string xml = R"(<Devices>
<Shelf IsOccupied="true"><BaseAddress>7</BaseAddress><BarCode>S1</BarCode></Shelf>
<Library Name="Lib_A">
  <Slots IsMailSlot="false" IsOccupied="FALSE"><BaseAddress>2</BaseAddress><BarCode>X</BarCode></Slots>
  <Slots IsMailSlot="true"><BaseAddress>1ab</BaseAddress><BarCode>T1</BarCode></Slots>
  <Drive IsOccupied="0x1"><BarCode>X</BarCode></Drive>
  <Slots IsOccupied="no"><BaseAddress><x/></BaseAddress></Slots>
  <Slots IsOccupied=""><BaseAddress>-3</BaseAddress><a><BarCode> &lt;</BarCode></a><BarCode>Y</BarCode></Slots>
  <Slots IsOccupied=" false"><BaseAddress><!--c-->9</BaseAddress><barCode>X</barCode></Slots>
  <Shelf IsOccupied="f"><BaseAddress>ab</BaseAddress></Shelf>
</Library></Devices>)";
  writeFile(catalogue.libraryFile("A"), xml);
  TqLibEmulator emulator;
  std::vector<LibElement> found(1);
  ASSERT_TRUE(emulator.GetVirtualLibraryElements("A", found));
  ASSERT_TRUE(emulator.GetVirtualLibraryElements("A", found));
  const std::vector<std::string> once{
      "4@0", "2@2", "3@1:T1", "3@-1:", "3@-3: <", "3@-1:", "5@7:S1", "5@0"};
  ASSERT_EQ(found.size(), 1 + 2 * once.size());
  EXPECT_FALSE(found[0].isValid);
  for (std::size_t i = 1; i < found.size(); ++i) {
    EXPECT_EQ(describe(found[i]), once[(i - 1) % once.size()]);
    EXPECT_TRUE(found[i].isValid);
    EXPECT_TRUE(found[i].isOccupied || found[i].barCode.empty());
  }
  EXPECT_EQ(readFile(catalogue.libraryFile("A")), xml);
}

TEST(ElementQuery, SaysInTextAndLogWhyItIsRefused) {
  const std::string unloaded = "Failed to Load XML Document ";
  const std::string many = "More than one library node in XML Files ";
  const struct {
    const char* xml;  // null: no file
    int code;
    std::string text;  // ahead of the path
    const char* tail;  // behind it
  } cases[] = {{nullptr, 0, unloaded, " for Library A"},
               {"<Devices>", 50005, unloaded, " for Library A"},
               {"", 50005, unloaded, " for Library A"},
               {"<Devices/>", 0, many, ""},
               {"<Devices><Library Name='Lib_A'/><Library/></Devices>", 0, many, ""},
               {"<Devices><Library Name='Lib_a'/></Devices>", 50008,
                "Library Node not found in XML File ", " for Library Lib_A.xml"}};
  for (const auto& c : cases) {
    TempCatalogue catalogue;
    if (c.xml != nullptr) writeFile(catalogue.libraryFile("A"), c.xml);
    TqLibEmulator emulator;
    std::vector<LibElement> found;
    EXPECT_FALSE(emulator.GetVirtualLibraryElements("A", found));
    EXPECT_TRUE(found.empty());
    EXPECT_EQ(emulator.getErrorCode(), c.code);
    EXPECT_EQ(lastError(emulator), c.text + catalogue.libraryFile("A") + c.tail);
    EXPECT_TRUE(catalogue.logged(lastError(emulator)));
    EXPECT_TRUE(catalogue.logged("TqLibEmulator::GetVirtualLibraryElements"));
  }
}

}  // namespace
}  // namespace tests
