#include <gtest/gtest.h>

#include "LoadedDocument.h"

namespace tests {
namespace {

TEST(ElementQuery, ReportsDrivesThenSlotsThenShelvesAndAppends) {
  TempCatalogue catalogue;
  const std::string xml = R"(<Devices>
<Shelf IsOccupied="true"><BaseAddress>7</BaseAddress><BarCode>S1</BarCode></Shelf>
<Library Name="Lib_A">
  <Slots IsMailSlot="false" IsOccupied="FALSE">
    <BaseAddress>2</BaseAddress><BarCode>X</BarCode></Slots>
  <Slots IsMailSlot="true"><BaseAddress>1</BaseAddress><BarCode>T1</BarCode></Slots>
  <Drive IsOccupied="0"><BarCode>X</BarCode></Drive>
  <Slots IsOccupied="no"><BaseAddress><x/></BaseAddress></Slots>
  <Shelf IsOccupied="f"><BaseAddress>8</BaseAddress></Shelf>
</Library></Devices>)";
  writeFile(catalogue.libraryFile("A"), xml);
  TqLibEmulator emulator;
  std::vector<LibElement> found(1);
  ASSERT_TRUE(emulator.GetVirtualLibraryElements("A", found));
  ASSERT_TRUE(emulator.GetVirtualLibraryElements("A", found));
  const std::vector<std::string> once{"4@0", "2@2", "3@1:T1", "3@-1:", "5@7:S1", "5@8"};
  ASSERT_EQ(found.size(), 1 + 2 * once.size());
  EXPECT_FALSE(found[0].isValid);
  for (std::size_t i = 1; i < found.size(); ++i) {
    EXPECT_EQ(describe(found[i]), once[(i - 1) % once.size()]);
    EXPECT_TRUE(found[i].isValid);
    EXPECT_TRUE(found[i].isOccupied || found[i].barCode.empty());
  }
  EXPECT_EQ(readFile(catalogue.libraryFile("A")), xml);
}

struct Refusal {
  const char* xml;  // null: no file
  int code;
  const char* text;  // ahead of the path
  const char* tail;  // behind it
};

class ElementQueryRefusal : public testing::TestWithParam<Refusal> {};

TEST_P(ElementQueryRefusal, SaysWhyInTextAndLog) {
  const Refusal& c = GetParam();
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

INSTANTIATE_TEST_SUITE_P(
    Table, ElementQueryRefusal,
    testing::Values(Refusal{nullptr, 0, "Failed to Load XML Document ", " for Library A"},
                    Refusal{"<Devices>", 50005, "Failed to Load XML Document ", " for Library A"},
                    Refusal{"", 50005, "Failed to Load XML Document ", " for Library A"},
                    Refusal{"<Devices/>", 0, "More than one library node in XML Files ", ""},
                    Refusal{"<Devices><Library Name='Lib_A'/><Library/></Devices>", 0,
                            "More than one library node in XML Files ", ""},
                    Refusal{"<Devices><Library Name='Lib_a'/></Devices>", 50008,
                            "Library Node not found in XML File ", " for Library Lib_A.xml"}));

}  // namespace
}  // namespace tests
