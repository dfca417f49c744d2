#include <gtest/gtest.h>
#include <sys/stat.h>

#include "SmallLibrary.h"

namespace tests {
namespace {

namespace fs = std::filesystem;

bool setOneSlot(const std::string& key, const std::string& barCode) {
  return TqLibEmulator().SetVirtualLibraryElement(key, element(LIB_ELEM_SLOT, 1000, barCode),
                                                  false);
}

TEST(LibraryFiles, WithoutADirectoryEveryOperationFails) {
  TempCatalogue catalogue;
  fs::remove_all(catalogue.catalogue());
  writeFile(catalogue.path() / "LibEmulator", "a file in the directory's place");
  TqLibEmulator emulator;
  EXPECT_FALSE(setOneSlot("A", "T1"));
  std::string path;
  EXPECT_FALSE(emulator.GetLibListFile(path));
  EXPECT_EQ(emulator.getErrorCode(), 50007);
  EXPECT_FALSE(emulator.UpdateVirtualDevice(LibraryBuilder("A").library(), ""));
  EXPECT_FALSE(emulator.UpdateVirtualDevice(LibraryBuilder("A").batch(), "A"));
  EXPECT_TRUE(catalogue.logged("Failed to create directory " + catalogue.catalogue()));
}

TEST(LibraryFiles, AMissingFileIsRefusedInSilence) {
  TempCatalogue catalogue;
  TqLibEmulator emulator;
  EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", element(2, 1, "T1"), false));
  EXPECT_EQ(emulator.getErrorCode(), 0);
  EXPECT_EQ(catalogue.log(), "");
}

TEST(LibraryFiles, SavingAgainAndAgainAddsNothingAlsoUnderANameThatFillsTheLimit) {
  TempCatalogue catalogue;
  const std::string key(255 - std::string("Lib_.xml").size(), 'k');
  LibraryBuilder(key).slots(1000, 2).drives(500, 1).build();
  ASSERT_TRUE(setOneSlot(key, "T1"));
  const std::string once = readFile(catalogue.libraryFile(key));
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(setOneSlot(key, "T1"));
  EXPECT_EQ(readFile(catalogue.libraryFile(key)), once);
  EXPECT_EQ(elements(key)[1], "2@1000:T1");
  EXPECT_NE(once.find("encoding=\"UTF-8\""), std::string::npos);
  EXPECT_EQ(once.find('\r'), std::string::npos);
}

TEST(LibraryFiles, TextBetweenElementsStaysAndOnlyIndentationIsMadeAnew) {
  TempCatalogue catalogue;
  const std::string declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n";
  writeFile(catalogue.catalogue() + "LibraryList.xml",
            "<LibraryList>\n  <Library Id=\"A\">Lib_A.xml</Library>\n</LibraryList>\n");
  const std::string file = R"(<Devices>
 <Library Name="Lib_A">
  <LibraryScsiDevice><SerialNumber>A</SerialNumber></LibraryScsiDevice>
    <Slots IsMailSlot="false">
 <BaseAddress>1000</BaseAddress>  &#x41;<BarCode> </BarCode>
 b<Note> </Note>  <!-- c -->
</Slots>  <![CDATA[ d ]]>
 </Library>
 <Shelf/></Devices>
)";
  writeFile(catalogue.libraryFile("A"), file);
  ASSERT_TRUE(setOneSlot("A", "T1"));
  EXPECT_EQ(readFile(catalogue.libraryFile("A")), declaration + R"(<Devices>

  <Library Name="Lib_A">
    <LibraryScsiDevice>
      <SerialNumber>A</SerialNumber>
    </LibraryScsiDevice>
    <Slots IsMailSlot="false" IsOccupied="true">
      <BaseAddress>1000</BaseAddress>  A
      <BarCode>T1</BarCode>
 b
      <Note> </Note>
      <!-- c -->
    </Slots><![CDATA[ d ]]>
  </Library>

  <Shelf/>

</Devices>
)");
  // Nothing is left of an element's content but its indentation, which is no text of its own.
  writeFile(catalogue.libraryFile("A"), file);
  ASSERT_TRUE(TqLibEmulator().RemoveVirtualDevice("", "A"));
  EXPECT_EQ(readFile(catalogue.libraryFile("A")), declaration + "<Devices></Devices>\n");
  EXPECT_EQ(readFile(catalogue.catalogue() + "LibraryList.xml"),
            declaration + "<LibraryList></LibraryList>\n");
  writeFile(catalogue.libraryFile("A"),
            "<Devices><Library Name='Lib_A'>\n  <Slots><BaseAddress>1000</BaseAddress></Slots>\n"
            "  <Slots><BaseAddress>1001</BaseAddress></Slots>\n </Library></Devices>");
  ASSERT_TRUE(TqLibEmulator().SetVirtualLibraryElement(
      "A", {element(LIB_ELEM_SLOT, 1000), element(LIB_ELEM_SLOT, 1001)}, true));
  EXPECT_EQ(readFile(catalogue.libraryFile("A")), declaration + R"(<Devices>

  <Library Name="Lib_A"></Library>

</Devices>
)");
}

TEST(LibraryFiles, KeepPermissionsAndLinksAndLeaveNoStrayFile) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).build();
  const fs::path link = catalogue.libraryFile("A");
  const fs::path target = catalogue.path() / "elsewhere.xml";
  fs::rename(link, target);
  fs::create_symlink("../elsewhere.xml", link);
  ASSERT_EQ(chmod(target.c_str(), 01604), 0);
  ASSERT_TRUE(setOneSlot("A", "T1"));
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_NE(readFile(target).find("T1"), std::string::npos);
  struct stat record {};
  ASSERT_EQ(stat(target.c_str(), &record), 0);
  EXPECT_EQ(record.st_mode & 07777U, 01604U);
  EXPECT_EQ(catalogue.files().size(), 2U);  // the link and the list
  fs::create_symlink("../b", catalogue.libraryFile("B"));
  LibraryBuilder("B").build();
  EXPECT_TRUE(fs::is_symlink(catalogue.libraryFile("B")) && fs::exists(catalogue.path() / "b"));
  fs::create_symlink("Lib_C.xml", catalogue.libraryFile("C"));  // of which nothing can be told
  EXPECT_TRUE(TqLibEmulator().UpdateVirtualDevice(LibraryBuilder("C").library(), ""));
  EXPECT_TRUE(catalogue.logged("Failed to look for " + catalogue.libraryFile("C")));
}

TEST(LibraryFiles, AWriteProtectedFileIsNotReplacedInItsOwnersFolder) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).build();
  ASSERT_EQ(chmod(catalogue.libraryFile("A").c_str(), 0444), 0);
  // Nothing is protected from root, so the folder goes to somebody else.
  const uid_t own = getuid(), owner = own == 0 ? 65534 : own;
  for (const std::string& folder : {catalogue.path().string(), catalogue.catalogue()})
    ASSERT_EQ(chown(folder.c_str(), owner, static_cast<gid_t>(-1)), 0);
  testing::internal::CaptureStderr();
  setenv("TQ_PLATFORM_LOG", "", 1);
  ASSERT_EQ(setresuid(owner, owner, own), 0);
  EXPECT_TRUE(setOneSlot("A", "T1"));
  ASSERT_EQ(setresuid(own, own, own), 0);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Lib_A.xml"), std::string::npos);
  EXPECT_EQ(elements("A"), std::vector<std::string>{"2@1000"});
}

}  // namespace
}  // namespace tests
