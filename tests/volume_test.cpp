// Volumes: folders, transfers of blocks, erasure, inspection, and files that are no tape files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "TempCatalogue.h"
#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"
#include "common/FileContent.h"
#include "common/FileDescriptor.h"
#include "common/FolderListing.h"

namespace tests {
namespace {

class Volume : public testing::Test {
protected:
  Volume() { m_catalogue.config("MediaManager", "sVirtualTapeDirectory", m_root); }

  fs::path folder() const { return m_catalogue.path() / "V1"; }
  fs::path file(const char* name) const { return folder() / name; }
  void fill(std::initializer_list<const char*> names) const {
    fs::create_directory(folder());
    for (const char* const name : names) writeFile(file(name), "data");
  }
  bool logged(const std::string& name, const std::string& text) const {
    return m_catalogue.logged("[TqLibEmlFile::" + name + "] " + text + "\n");
  }
  void expectLoggedByReadAndWrite(const std::string& text) const {
    for (const std::string call : {"ReadDataForDrive", "WriteDataForDrive"})
      EXPECT_TRUE(logged(call, "TqLibEmlFile::" + call + "()" + text)) << call;
  }
  /// "done, count 4, code 0" or "failed, ...". The count was 99.
  std::string write(int mark, unsigned long long offset, const std::string& data) const {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(data.data());
    unsigned long count = 99;
    TqLibEmlFile volume(m_volumeName);
    const bool isDone = volume.WriteDataForDrive(mark, offset, bytes, data.size(), count);
    return result(isDone, count, volume);
  }
  std::string read(int mark, unsigned long long offset) {
    unsigned long count = 99;
    TqLibEmlFile volume(m_volumeName);
    const bool isDone = volume.ReadDataForDrive(mark, offset, m_buffer, sizeof m_buffer, count);
    return result(isDone, count, volume);
  }
  static std::string result(bool isDone, unsigned long count, const TqLibEmlFile& volume) {
    return (isDone ? "done, count " : "failed, count ") + std::to_string(count) + ", code " +
           std::to_string(volume.getErrorCode());
  }
  /// "mark 1, size 4, code 0"; "no mark 1" if the call failed.
  std::string inspected() const {
    int mark = 9;
    unsigned long long size = 9;
    TqLibEmlFile volume(m_volumeName);
    const std::string next = volume.GetLastFileMark(mark) ? "mark " : "no mark ";
    const std::string bytes = volume.GetVolumeSize(size) ? ", size " : ", no size ";
    return next + std::to_string(mark) + bytes + std::to_string(size) + ", code " +
           std::to_string(volume.getErrorCode());
  }

  TempCatalogue m_catalogue;
  std::string m_root = m_catalogue.path().string();
  std::string m_volumeName = "V1";
  unsigned char m_buffer[16] = {};
};

TEST_F(Volume, IsInTheConfiguredDirectoryOrInTheCataloguesDataFolder) {
  std::string path;
  for (const auto& [configured, expected] : {std::pair{m_root + "\\", m_root},
                                             {m_root + "/", m_root + "/"},
                                             {"", m_catalogue.catalogue() + "Data"}}) {
    m_catalogue.config("MediaManager", "sVirtualTapeDirectory", configured);
    ASSERT_TRUE(TqLibEmlFile("A1").GetVolumeFilename(3, path));
    EXPECT_EQ(path, expected + "/A1/00000003");
    EXPECT_TRUE(fs::is_empty(expected + "/A1"));
  }
  m_catalogue.config("Teifioskon", "sVirtualTapeDirectory", m_root + "/missing");
  EXPECT_FALSE(TqLibEmlFile("A1").GetVolumeFolder(path));
  EXPECT_EQ(path, m_root + "/missing/A1");
  m_catalogue.config("Teifioskon", "sVirtualTapeDirectory", m_root);
  fs::create_symlink("nowhere", folder());
  EXPECT_FALSE(TqLibEmlFile(m_volumeName).GetVolumeFolder(path));
  EXPECT_TRUE(m_catalogue.logged("[GetVolumeFolder] Failed to create directory " + path +
                                 ", error: File exists\n"));
}

TEST_F(Volume, RecreatesAFolderThatWasRemoved) {
  m_catalogue.config("MediaManager", "sVirtualTapeDirectory", "");
  TqLibEmlFile volume(m_volumeName);
  unsigned long count = 0;
  ASSERT_TRUE(volume.ReadDataForDrive(1, 0, m_buffer, 4, count));
  fs::remove_all(m_catalogue.catalogue());
  EXPECT_TRUE(volume.WriteDataForDrive(1, 0, m_buffer, 4, count));
  EXPECT_EQ(count, 4U);
  fs::remove_all(m_catalogue.catalogue());
  EXPECT_TRUE(volume.EraseVolume());
}

TEST_F(Volume, LooksForTheCatalogueDirectoryInTheConfiguredPlacesInOrder) {
  const auto found = [](std::string dir, int expected = 1) {
    EXPECT_EQ(TqLibEmlFile::GetTQLibEMLXMLDir(dir), expected) << dir;
    return dir;
  };
  const fs::path before = fs::current_path();
  fs::current_path(m_root);
  fs::create_directory("base\\");
  EXPECT_EQ(found("/ignored"), m_root + "/LibEmulator/");
  m_catalogue.config("MediaManager", "sVirtualLibXMLDirectory", "");
  m_catalogue.config("Base", "dMERIDIANHOME", m_root + "/base\\");
  EXPECT_EQ(found("/ignored"), m_root + "/base\\/LibEmulator/");
  m_catalogue.config("Base", "dMERIDIANHOME", "");
  m_catalogue.config("Teifioskon", "sVirtualLibXMLDirectory", m_root + "/base\\\\");
  EXPECT_EQ(found("/ignored"), m_root + "/base\\/LibEmulator/");
  m_catalogue.config("Teifioskon", "sVirtualLibXMLDirectory", "");
  EXPECT_EQ(found(m_root), m_root + "/LibEmulator/");
  EXPECT_EQ(found("no", 0), "no/LibEmulator/");
  // A directory whose name is too long must not lead to the working directory.
  const std::string nowhere = "/dev/null/unreadable-configuration/LibEmulator/";
  m_catalogue.config("Base", "dMERIDIANHOME", std::string(1024, 'd'));
  EXPECT_EQ(found("", 0), nowhere);
  for (const char* const key : {"sVirtualLibXMLDirectory", "sVirtualTapeDirectory"})
    m_catalogue.config("MediaManager", key, std::string(1025, 'd'));
  EXPECT_EQ(found("", 0), nowhere);
  EXPECT_EQ(write(1, 0, "data"), "failed, count 99, code 0");
  EXPECT_TRUE(m_catalogue.logged("in section MediaManager is longer than 1024 bytes"));
  fs::current_path(before);
  EXPECT_TRUE(m_catalogue.logged("[GetTQLibEMLXMLDir] Failed to create directory no/LibEmulator/"));
}

TEST_F(Volume, ReadsAndWritesAtOffsetsInPlace) {
  EXPECT_EQ(write(2, 0, "0123456789"), "done, count 10, code 0");
  EXPECT_EQ(write(2, 4, "ab"), "done, count 2, code 0");
  EXPECT_EQ(readFile(file("00000002")), "0123ab6789");
  EXPECT_EQ(read(2, 8), "done, count 2, code 0");
  EXPECT_EQ(std::string(std::begin(m_buffer), std::begin(m_buffer) + 2), "89");
  EXPECT_EQ(read(2, 11), "done, count 0, code 0");
  EXPECT_EQ(read(5, 0), "done, count 0, code 0");
  EXPECT_EQ(fs::status(file("00000005")).permissions(), fs::perms(0600));
}

TEST_F(Volume, ErasesItsRegularFilesOnAWriteAtItsBeginningOnly) {
  fill({"00000000", "00000001", "00000005", "ABC"});
  fs::create_directory(file("sub"));
  writeFile(file("sub/inner"), "stays");
  ASSERT_EQ(mkfifo(file("pipe").c_str(), 0600), 0);
  write(0, 2, "x");
  write(1, 0, "x");
  EXPECT_EQ(readFile(file("00000000")), "daxa");
  EXPECT_EQ(readFile(file("00000001")), "xata");
  EXPECT_EQ(write(0, 0, "x"), "done, count 1, code 0");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder()), {}), 3);
  EXPECT_EQ(readFile(file("00000000")), "x");
  EXPECT_EQ(readFile(file("sub/inner")), "stays");
}

TEST_F(Volume, GivesAFailedTransferItsCode) {
  fill({"00000004"});
  fs::create_symlink("/proc/self/mem", file("00000002"));
  constexpr unsigned long long most = ~0ULL;
  // The result does not show that a write or its seek failed.
  EXPECT_EQ(read(2, 0), "failed, count 0, code 979");
  EXPECT_EQ(write(2, 0, "data"), "done, count 0, code 767");
  EXPECT_EQ(read(4, most), "failed, count 99, code 22");
  EXPECT_EQ(write(4, most, "data"), "done, count 99, code 22");
  expectLoggedByReadAndWrite(" _lseek() failed with error 22");
  EXPECT_EQ(write(4, 0, ""), "done, count 0, code 767");
  // A regular file of the system that cannot be positioned; only root may open it for reading.
  const std::string unseekable = "/proc/self/clear_refs";
  if (access(unseekable.c_str(), R_OK | W_OK) != 0) GTEST_SKIP() << "cannot open " << unseekable;
  fs::create_symlink(unseekable, file("00000001"));
  EXPECT_EQ(read(1, 7), "failed, count 99, code 786");
  EXPECT_EQ(write(1, 7, "data"), "done, count 99, code 797");
  expectLoggedByReadAndWrite(" failed to seek file offset 7, seek to 0");
}

TEST_F(Volume, RefusesAFileThatIsNotRegularWithoutBlocking) {
  fs::create_directory(folder());
  fs::create_directory(file("00000001"));
  ASSERT_EQ(mkfifo(file("00000002").c_str(), 0600), 0);
  fs::create_symlink("/dev/full", file("00000003"));
  for (const int mark : {1, 2, 3}) {
    EXPECT_EQ(read(mark, 0), "failed, count 99, code 764") << mark;
    EXPECT_EQ(write(mark, 0, "data"), "failed, count 99, code 764") << mark;
  }
  expectLoggedByReadAndWrite(" open file failed");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder()), {}), 3);
}

TEST_F(Volume, DoesNotUseTheDescriptorsOfClosedStandardStreams) {
  fill({"00000001"});
  const auto isClosed = [](int fd) { return fcntl(fd, F_GETFD) == -1; };
  for (const std::vector<int>& closed : {std::vector{0}, {1}, {2}, {0, 1, 2}}) {
    EXPECT_EXIT(
        {
          for (const int fd : closed) close(fd);
          unsetenv("TQ_PLATFORM_LOG");
          FolderListing listing;
          bool isDone = listing.open(folder().string()) == 0;
          const FileDescriptor opened(openRegularFile(file("00000001").c_str(), O_RDWR));
          isDone = isDone && opened && fcntl(opened.get(), F_GETFD) == FD_CLOEXEC &&
                   std::ranges::all_of(closed, isClosed) &&
                   write(1, 0, "tape") == "done, count 4, code 0";
          // Both log: one while a tape is open, one while a tape has the log's own number.
          write(1, ~0ULL, "data");
          dup3(opened.get(), 2, O_CLOEXEC);
          EvDebug::Error(debugHandler, "origin", "text");
          _exit(isDone ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(readFile(file("00000001")), "tape") << closed.front();
  }
}

TEST_F(Volume, FailsTheWriteThatCrossesTheLimitAndKeepsItsBytes) {
  m_catalogue.config("Teifioskon", "nVirtualTapeSizeMB", "1");
  fill({"00000000"});
  EXPECT_EQ(write(1, 0, std::string((1 << 20) - 4, 'x')), "done, count 1048572, code 0");
  EXPECT_EQ(write(2, 0, "y"), "failed, count 1, code 785");
  EXPECT_EQ(readFile(file("00000002")), "y");
  EXPECT_TRUE(m_catalogue.logged(" files size 1048577 reached the maximum size 1048576 "));
  fs::resize_file(file("00000001"), 1ULL << 32);
  for (const auto& [limit, fits] :
       {std::pair{"4096", false}, {"4097", true}, {"17592186044417", true}}) {
    m_catalogue.config("MediaManager", "nVirtualTapeSizeMB", limit);
    EXPECT_EQ(write(2, 0, "y").starts_with("done"), fits) << limit;
  }
}

TEST_F(Volume, CountsNamesAndSizes) {
  EXPECT_EQ(inspected(), "mark 0, size 0, code 0");
  fill({"ABC", "00000000", "00000007"});
  EXPECT_EQ(inspected(), "mark 8, size 12, code 0");
  fill({"2147483647"});
  writeFile(m_catalogue.path() / "elsewhere", "as long as it is");
  fs::create_symlink("../elsewhere", file("link"));
  EXPECT_EQ(inspected(), "mark 2147483647, size 32, code 0");
  EXPECT_TRUE(TqLibEmlFile(m_volumeName).EraseVolume());
  EXPECT_TRUE(fs::is_empty(folder()));
  EXPECT_TRUE(fs::exists(m_catalogue.path() / "elsewhere"));
  m_volumeName = std::string(256, 'n');
  EXPECT_EQ(inspected(), "no mark 0, no size 0, code 993");
  EXPECT_TRUE(logged("GetVolumeFolder", "Failed to get volume folder."));
}

TEST_F(Volume, ReportsAFolderOrFileThatCannotBeRead) {
  const auto expectEraseToFail = [&](int code) {
    TqLibEmlFile volume(m_volumeName);
    EXPECT_FALSE(volume.EraseVolume());
    EXPECT_EQ(volume.getErrorCode(), code);
  };
  writeFile(folder(), "a file in the folder's place");
  EXPECT_EQ(inspected(), "mark 0, no size 0, code 20");
  expectEraseToFail(ENOTDIR);
  const std::string text = "() failed to access directory " + folder().string() + ", error: ";
  for (const std::string call : {"GetVolumeSize", "EraseVolume"})
    EXPECT_TRUE(logged(call, call + text + "Not a directory"));

  fs::remove(folder());
  fs::create_directory(folder());
  fs::create_symlink("nowhere", file("00000009"));
  EXPECT_EQ(inspected(), "mark 10, size 0, code 2");
  expectEraseToFail(ENOENT);
  EXPECT_TRUE(logged("EraseVolume", "RemoveDirectory() failed with error 2"));
}

TEST_F(Volume, NeedsEveryArgumentOfADirectCallButCodeAndText) {
  unsigned char data[] = {'d', 'a', 't', 'a'};
  unsigned long count = 99;
  int code = 77;
  // How many of a write and of the read of all bytes but the first succeed.
  const auto succeeding = [&](const char* volume, unsigned char* bytes, unsigned long* number) {
    const int written = DirectWriteDataForDrive(volume, 0, 0, bytes, 4, number, &code, nullptr, 0);
    return written + DirectReadDataForDrive(volume, 0, 1, bytes, 4, number, &code, nullptr, 0);
  };
  EXPECT_EQ(succeeding("V1", data, &count), 2);
  EXPECT_EQ(succeeding(nullptr, data, &count), 0);
  EXPECT_EQ(succeeding("V1", nullptr, &count), 0);
  EXPECT_EQ(succeeding("V1", data, nullptr), 0);
  EXPECT_EQ(std::string(std::begin(data), std::end(data)), "ataa");
  EXPECT_EQ(count, 3U);
  EXPECT_EQ(code, 77);
  EXPECT_EQ(DirectWriteDataForDrive("..", 0, 0, data, 1, &count, nullptr, nullptr, 0), 0);
  char text[8] = "V1";  // the name lies in the outputs
  auto* const bytes = reinterpret_cast<unsigned char*>(text);
  EXPECT_EQ(DirectReadDataForDrive(text, 0, 0, bytes, 8, &count, &code, text, 8), 1);
  EXPECT_STREQ(text, "data");
}

}  // namespace
}  // namespace tests
