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
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

private:
  rlimit m_before{};
  void (*m_handler)(int);
};

bool setOneSlot(const std::string& key, const std::string& barCode) {
  return TqLibEmulator().SetVirtualLibraryElement(key, element(LIB_ELEM_SLOT, 1000, barCode),
                                                  false);
}

TEST(LibraryFiles, AreNamedInTheConfiguredDirectory) {
  TempCatalogue catalogue;
  TqLibEmulator emulator;
  EXPECT_EQ(emulator.m_sLibFile, "E:\\XMLSamples\\TempFile.xml");
  std::string path;
  EXPECT_TRUE(emulator.GetLibFileName("A", path));
  EXPECT_EQ(path, catalogue.libraryFile("A"));
  EXPECT_TRUE(emulator.GetLibListFile(path));
  EXPECT_EQ(path, catalogue.listFile());
}

TEST(LibraryFiles, WithoutADirectoryEveryOperationFails) {
  TempCatalogue catalogue;
  fs::remove_all(catalogue.catalogue());
  writeFile(catalogue.path() / "LibEmulator", "a file in the directory's place");
  TqLibEmulator emulator;
  std::vector<LibElement> found;
  std::string path;
  EXPECT_FALSE(emulator.GetLibFileName("A", path));
  EXPECT_EQ(emulator.getErrorCode(), 0);
  const LibraryBuilder library("A");
  EXPECT_FALSE(emulator.UpdateVirtualDevice(library.library(), ""));
  EXPECT_FALSE(emulator.UpdateVirtualDevice(library.batch(), "A"));
  EXPECT_FALSE(emulator.GetVirtualLibraryElements("A", found));
  EXPECT_FALSE(setOneSlot("A", "T1"));
  EXPECT_FALSE(emulator.MoveVirtualLibraryElement("A", 2, 1, 2, 2));
  EXPECT_FALSE(emulator.GetLibListFile(path));
  EXPECT_EQ(emulator.getErrorCode(), 50007);
  EXPECT_TRUE(catalogue.logged("Failed to create directory " + catalogue.catalogue()));
}

TEST(LibraryFiles, AMissingFileIsRefusedInSilenceAndAnUnparsableOneWithItsPath) {
  TempCatalogue catalogue;
  TqLibEmulator emulator;
  const LibElement slot = element(LIB_ELEM_SLOT, 1, "T1");
  EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", slot, false));
  EXPECT_EQ(emulator.getErrorCode(), 0);
  EXPECT_EQ(catalogue.log(), "");
  EXPECT_FALSE(emulator.m_bInitialized);
  writeFile(catalogue.libraryFile("A"), "<Devices><Library>");
  EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", slot, false));
  EXPECT_EQ(emulator.getErrorCode(), 50005);
  EXPECT_TRUE(
      catalogue.logged("An error occurred during parsing document " + catalogue.libraryFile("A")));
  EXPECT_FALSE(emulator.m_bInitialized);
}

TEST(LibraryFiles, SavingAgainAndAgainAddsNothing) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 2).drives(500, 1).build();
  ASSERT_TRUE(setOneSlot("A", "T1"));
  const std::string once = readFile(catalogue.libraryFile("A"));
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(setOneSlot("A", "T1"));
  EXPECT_EQ(readFile(catalogue.libraryFile("A")), once);
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
}

TEST(LibraryFiles, ANameThatFillsTheLimitStillSaves) {
  TempCatalogue catalogue;
  const std::string key(255 - std::string("Lib_.xml").size(), 'k');
  LibraryBuilder(key).slots(1000, 1).build();
  EXPECT_TRUE(setOneSlot(key, "T1"));
  EXPECT_EQ(elements(key), std::vector<std::string>{"2@1000:T1"});
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

TEST(LibraryFiles, ASaveIntoNoFolderIsLoggedWithItsPath) {
  LoadedDocument doc("<Devices/>");
  const std::string path = doc.catalogue.path() / "none" / "x.xml";
  EXPECT_TRUE(doc.emulator.saveDocument(doc.root(), path));
  EXPECT_TRUE(doc.catalogue.logged(path));
  EXPECT_FALSE(fs::exists(path));
}

}  // namespace
}  // namespace tests
