#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "LoadedDocument.h"

namespace tests {
namespace {

namespace fs = std::filesystem;

/// Writing past this file size fails as on a full disk, for as long as the object lives.
class FullDisk {
public:
  explicit FullDisk(rlim_t bytes) : m_handler(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &m_before);
    const rlimit limit{bytes, m_before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &m_before);
    signal(SIGXFSZ, m_handler);
  }

private:
  rlimit m_before{};
  void (*m_handler)(int);
};

bool setOneSlot(const std::string& key, const std::string& barCode) {
  return TqLibEmulator().SetVirtualLibraryElement(key, element(LIB_ELEM_SLOT, 1000, barCode),
                                                  false);
}

TEST(LibraryFiles, WithoutADirectoryEveryOperationFails) {
  TempCatalogue catalogue;
  fs::remove_all(catalogue.catalogue());
  writeFile(catalogue.path() / "LibEmulator", "a file in the directory's place");
  TqLibEmulator emulator;
  std::vector<LibElement> found;
  EXPECT_FALSE(emulator.GetVirtualLibraryElements("A", found));
  EXPECT_FALSE(setOneSlot("A", "T1"));
  EXPECT_FALSE(emulator.MoveVirtualLibraryElement("A", 2, 1, 2, 2));
  EXPECT_EQ(emulator.getErrorCode(), 0);
  std::string path;
  EXPECT_FALSE(emulator.GetLibListFile(path));
  EXPECT_EQ(emulator.getErrorCode(), 50007);
  EXPECT_FALSE(emulator.UpdateVirtualDevice(LibraryBuilder("A").library(), ""));
  EXPECT_FALSE(emulator.UpdateVirtualDevice(LibraryBuilder("A").batch(), "A"));
  EXPECT_TRUE(catalogue.logged("Failed to create directory " + catalogue.catalogue()));
}

TEST(LibraryFiles, AMissingFileIsRefusedInSilenceAndAnUnparsableOneWithItsPath) {
  TempCatalogue catalogue;
  TqLibEmulator emulator;
  EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", element(2, 1, "T1"), false));
  EXPECT_EQ(emulator.getErrorCode(), 0);
  EXPECT_EQ(catalogue.log(), "");
  writeFile(catalogue.libraryFile("A"), "<Devices><Library>");
  EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", element(2, 1, "T1"), false));
  EXPECT_EQ(emulator.getErrorCode(), 50005);
  EXPECT_TRUE(
      catalogue.logged("An error occurred during parsing document " + catalogue.libraryFile("A")));
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
  for (int i = 0, status = 0, asc = 0, ascq = 0; i < 20; ++i) {
    ASSERT_TRUE(TqLibEmulator().SetVirtualDeviceStatus(key, 2, 4, 1, 600, 1));
    ASSERT_TRUE(TqLibEmulator().GetVirtualDeviceStatus(key, status, asc, ascq, false));
    ASSERT_EQ(readFile(catalogue.libraryFile(key)), once) << i;
  }
  EXPECT_NE(once.find("encoding=\"UTF-8\""), std::string::npos);
  EXPECT_EQ(once.find('\r'), std::string::npos);
}

TEST(LibraryFiles, KeepPermissionsAndLinksAndLeaveNoStrayFile) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).build();
  const fs::path link = catalogue.libraryFile("A");
  const fs::path target = catalogue.path() / "elsewhere.xml";
  fs::rename(link, target);
  fs::create_symlink("../elsewhere.xml", link);
  ASSERT_EQ(chmod(target.c_str(), 0604), 0);
  ASSERT_TRUE(setOneSlot("A", "T1"));
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_NE(readFile(target).find("T1"), std::string::npos);
  struct stat record {};
  ASSERT_EQ(stat(target.c_str(), &record), 0);
  EXPECT_EQ(record.st_mode & 07777U, 0604U);
  EXPECT_EQ(catalogue.files().size(), 2U);  // the link and the list
  fs::create_symlink("../b", catalogue.libraryFile("B"));
  LibraryBuilder("B").build();
  EXPECT_TRUE(fs::is_symlink(catalogue.libraryFile("B")) && fs::exists(catalogue.path() / "b"));
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

TEST(LibraryFiles, AFullDiskLeavesTheOldFilesAndIsLogged) {
  if (fs::exists(processLog())) fs::resize_file(processLog(), 0);  // the log needs room, too
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1000).build();
  ASSERT_GT(readFile(catalogue.libraryFile("A")).size(), 2U * 65536);
  const auto before = catalogue.files();
  {
    const FullDisk full(65536);
    EXPECT_TRUE(setOneSlot("A", "T1"));  // a failed save is not the caller's to see
  }
  EXPECT_EQ(catalogue.files(), before);
  EXPECT_TRUE(catalogue.logged(catalogue.libraryFile("A")));
  EXPECT_TRUE(setOneSlot("A", "T1"));
  EXPECT_NE(catalogue.files(), before);
}

}  // namespace
}  // namespace tests
