// Library files and lists on disk: text that stays, permissions, links, folders and pipes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "SmallLibrary.h"
#include "files/ReplacedFile.h"

namespace tests {
namespace {

TEST(LibraryFiles, RefuseOperationsWithoutADirectory) {
  TempCatalogue catalogue;
  TqLibEmulator emulator;
  fs::remove_all(catalogue.catalogue());
  writeFile(catalogue.path() / "LibEmulator", "a file in the directory's place");
  EXPECT_FALSE(emulator.UpdateVirtualDevice(LibraryBuilder("A").library(), ""));
  std::string path;
  EXPECT_FALSE(emulator.GetLibListFile(path));
  EXPECT_EQ(emulator.getErrorCode(), 50007);
  EXPECT_TRUE(catalogue.logged("Failed to create directory CATALOGUE/"));
}

TEST(LibraryFiles, KeepTextBetweenElementsAndReplaceOnlyIndentation) {
  TempCatalogue catalogue;
  writeFile(catalogue.libraryFile("A"), R"(<Devices>
 <Library Name="Lib_A">
  <LibraryScsiDevice><SerialNumber>A</SerialNumber></LibraryScsiDevice>
    <Slots IsMailSlot="false">
 <BaseAddress>1000</BaseAddress>  &#x41;<BarCode> </BarCode>
 b<Note> </Note>  <!-- c -->
</Slots>  <![CDATA[ d ]]>
 </Library>
 <Shelf/></Devices>
)");
  ASSERT_TRUE(setElement("A", "2@1000:T1"));
  EXPECT_EQ(readFile(catalogue.libraryFile("A")),
            R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>
<Devices>

  <Library Name="Lib_A">
    <LibraryScsiDevice>
      <SerialNumber>A</SerialNumber>
    </LibraryScsiDevice>
    <Slots IsMailSlot="false" IsOccupied="true">
      <BaseAddress>1000</BaseAddress>A
      <BarCode>T1</BarCode>
 b
      <Note> </Note>
      <!-- c -->
    </Slots><![CDATA[ d ]]>
  </Library>

  <Shelf/>

</Devices>
)");
}

TEST(LibraryFiles, KeepPermissionsAndLinksAndLeaveNoTemporaryFiles) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).build();
  const fs::path link = catalogue.libraryFile("A");
  const fs::path elsewhere = catalogue.path() / "elsewhere";
  const fs::path target = elsewhere / "A.xml";
  fs::create_directory(elsewhere);
  fs::rename(link, target);
  fs::create_symlink("../elsewhere/A.xml", link);
  ASSERT_EQ(chmod(target.c_str(), 01604), 0);
  ReplacedFile living((elsewhere / "B.xml").string());
  ASSERT_TRUE(living.prepare("of a process that is at work"));
  for (const fs::path& folder : {elsewhere, fs::path(catalogue.catalogue())})
    writeFile(folder / ".tqlib-0123456789abcdef.new", "of a dead process");
  ASSERT_TRUE(setElement("A", "2@1000:T1"));
  EXPECT_TRUE(living.commit());
  EXPECT_TRUE(fs::is_symlink(link));
  const std::string once = readFile(target);
  EXPECT_NE(once.find("T1"), std::string::npos);
  ASSERT_TRUE(setElement("A", "2@1000:T1"));
  EXPECT_EQ(readFile(target), once);
  EXPECT_EQ(fs::status(target).permissions(), fs::perms(01604));
  EXPECT_EQ(catalogue.files().size(), 2U);  // the link and the list
  EXPECT_EQ(std::distance(fs::directory_iterator(elsewhere), fs::directory_iterator()), 2);
}

// A file that cannot be examined counts as absent, but the new one does not replace it.
TEST(LibraryFiles, AreNotReplacedWhenTheyCannotBeExamined) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).build();
  fs::create_symlink("Lib_C.xml", catalogue.libraryFile("C"));  // which leads nowhere
  TqLibEmulator emulator;
  EXPECT_TRUE(emulator.UpdateVirtualDevice(LibraryBuilder("C").library(), ""));
  EXPECT_TRUE(catalogue.logged("Failed to save document CATALOGUE/Lib_C.xml"));
  EXPECT_NE(emulator.saveError().find(catalogue.libraryFile("C")), std::string::npos);
  EXPECT_EQ(readFile(catalogue.listFile()).find("Lib_C"), std::string::npos);
  // The commit decides, even if the file appears after it was examined.
  ReplacedFile late(catalogue.libraryFile("L"), Existing::Kept);
  ASSERT_TRUE(late.prepare("new"));
  writeFile(catalogue.libraryFile("L"), "old");
  EXPECT_FALSE(late.commit());
  EXPECT_EQ(readFile(catalogue.libraryFile("L")), "old");
}

TEST(LibraryFiles, AreRefusedAtOnceWhenTheyAreFoldersOrPipes) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).build();
  const fs::path kept = catalogue.path() / "kept";
  const struct {
    std::string path;
    bool isQueried = false;
    bool isChanged = true;
    bool isCreated = false;
  } cases[] = {
      {.path = catalogue.libraryFile("A"), .isChanged = false, .isCreated = true},
      {.path = catalogue.listFile()},
      {.path = catalogue.catalogue() + ".tqlib-lock", .isQueried = true, .isChanged = false},
      {.path = catalogue.catalogue() + ".tqlib-pending", .isQueried = true}};
  for (const auto& c : cases) {
    const bool wasThere = fs::exists(c.path);
    if (wasThere) fs::rename(c.path, kept);
    for (const bool isFolder : {true, false}) {
      SCOPED_TRACE(c.path + (isFolder ? " is a folder" : " is a pipe"));
      ASSERT_EQ(isFolder ? mkdir(c.path.c_str(), 0777) : mkfifo(c.path.c_str(), 0666), 0);
      TqLibEmulator emulator;
      std::vector<SCSIUnitNoMap> devices;
      EXPECT_EQ(emulator.GetVirtualDeviceInfo("", devices), c.isQueried);
      EXPECT_EQ(setElement("A", "2@1000:T1"), c.isChanged);
      const bool isDone = emulator.UpdateVirtualDevice(LibraryBuilder("N").library(), "");
      EXPECT_EQ(isDone && emulator.saveError().empty(), c.isCreated);
      EXPECT_EQ(emulator.RemoveVirtualDevice("", "N", "N"), c.isCreated);
      fs::remove(catalogue.libraryFile("N"));
      fs::remove(c.path);
    }
    if (wasThere) fs::rename(kept, c.path);
  }
}

TEST(LibraryFiles, AreNotReplacedWhenWriteProtectedInTheFolderOfAnotherUser) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).build();
  ASSERT_EQ(chmod(catalogue.libraryFile("A").c_str(), 0444), 0);
  // Root may write anything, so the folder is given to another user.
  const uid_t own = getuid();
  const uid_t owner = own == 0 ? 65534 : own;
  for (const std::string& folder : {catalogue.path().string(), catalogue.catalogue()})
    ASSERT_EQ(chown(folder.c_str(), owner, static_cast<gid_t>(-1)), 0);
  testing::internal::CaptureStderr();
  setenv("TQ_PLATFORM_LOG", "", 1);
  ASSERT_EQ(setresuid(owner, owner, own), 0);
  EXPECT_TRUE(setElement("A", "2@1000:T1"));
  ASSERT_EQ(setresuid(own, own, own), 0);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Lib_A.xml"), std::string::npos);
  EXPECT_EQ(elements("A"), std::vector<std::string>{"2@1000"});
}

}  // namespace
}  // namespace tests
