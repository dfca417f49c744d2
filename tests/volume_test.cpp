#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <tuple>

#include "TempCatalogue.h"
#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"
#include "TqPlatform/NuUtils.h"
#include "common/FileContent.h"
#include "common/FileDescriptor.h"
#include "common/FolderListing.h"

namespace {

namespace fs = std::filesystem;
using tests::readFile;
using tests::writeFile;

/// What a transfer gives: its result, the count, the code.
using Outcome = std::tuple<bool, unsigned long, int>;

class Volume : public testing::Test {
protected:
  Volume() { catalogue.config("MediaManager", "sVirtualTapeDirectory", root); }

  fs::path folder() const { return catalogue.path() / "V1"; }
  fs::path file(const char* name) const { return folder() / name; }
  void fill(std::initializer_list<const char*> names) const {
    fs::create_directory(folder());
    for (const char* const name : names) writeFile(file(name), "data");
  }
  bool logged(const std::string& name, const std::string& text) const {
    return catalogue.logged("[TqLibEmlFile::" + name + "] " + text + "\n");
  }
  /// By a read and by a write.
  void expectBothLogged(const std::string& text) const {
    for (const std::string call : {"ReadDataForDrive", "WriteDataForDrive"})
      EXPECT_TRUE(logged(call, "TqLibEmlFile::" + call + "()" + text)) << call;
  }
  Outcome write(int mark, unsigned long long offset, const std::string& data) const {
    unsigned long count = 99;
    TqLibEmlFile volume(volumeName);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(data.data());
    const bool result = volume.WriteDataForDrive(mark, offset, bytes, data.size(), count);
    return {result, count, volume.getErrorCode()};
  }
  Outcome read(int mark, unsigned long long offset) {
    unsigned long count = 99;
    TqLibEmlFile volume(volumeName);
    const bool result = volume.ReadDataForDrive(mark, offset, buffer, sizeof buffer, count);
    return {result, count, volume.getErrorCode()};
  }
  /// The next mark and the size, each with its result, and the code that both leave.
  std::string inspected() const {
    int mark = 9;
    unsigned long long size = 9;
    TqLibEmlFile volume(volumeName);
    const std::string next = volume.GetLastFileMark(mark) ? "mark " : "no mark ";
    const std::string bytes = volume.GetVolumeSize(size) ? ", size " : ", no size ";
    return next + std::to_string(mark) + bytes + std::to_string(size) + ", code " +
           std::to_string(volume.getErrorCode());
  }

  tests::TempCatalogue catalogue;
  std::string root = catalogue.path().string();
  std::string volumeName = "V1";
  unsigned char buffer[16] = {};
};

TEST_F(Volume, LiesUnderTheConfiguredDirectoryOrTheCataloguesDataFolder) {
  std::string path;
  for (const auto& [configured, expected] : {std::pair{root, root},
                                             {root + "\\", root},
                                             {root + "/", root + "/"},
                                             {"", catalogue.catalogue() + "Data"}}) {
    catalogue.config("MediaManager", "sVirtualTapeDirectory", configured);
    ASSERT_TRUE(TqLibEmlFile("A1").GetVolumeFilename(3, path));
    EXPECT_EQ(path, expected + "/A1/00000003");
    EXPECT_TRUE(fs::is_empty(expected + "/A1"));
  }
  catalogue.config("Teifioskon", "sVirtualTapeDirectory", root + "/missing");
  EXPECT_FALSE(TqLibEmlFile("A1").GetVolumeFolder(path));
  EXPECT_EQ(path, root + "/missing/A1");
  EXPECT_EQ(write(1, 0, "data"), Outcome(false, 99, 0));
  EXPECT_FALSE(fs::exists(root + "/missing"));
  catalogue.config("Teifioskon", "sVirtualTapeDirectory", "");
  catalogue.config("MediaManager", "sVirtualTapeDirectory", root);
  fs::create_symlink("nowhere", folder());
  EXPECT_FALSE(TqLibEmlFile(volumeName).GetVolumeFolder(path));
  EXPECT_TRUE(catalogue.logged("[GetVolumeFolder] Failed to create directory " + path +
                               ", error: File exists\n"));
}

TEST_F(Volume, WhatWasRemovedSinceIsMadeAgain) {
  for (const auto& place : {std::pair{root, folder().string()}, {"", catalogue.catalogue()}}) {
    catalogue.config("MediaManager", "sVirtualTapeDirectory", place.first);
    TqLibEmlFile volume(volumeName);
    unsigned long count = 0;
    const auto isDone = [&](auto work) { return fs::remove_all(place.second) > 0 && work(); };
    ASSERT_TRUE(volume.ReadDataForDrive(1, 0, buffer, 4, count));
    EXPECT_TRUE(isDone([&] { return volume.WriteDataForDrive(1, 0, buffer, 4, count); }));
    EXPECT_EQ(count, 4U);
    EXPECT_TRUE(isDone([&] { return volume.ReadDataForDrive(1, 0, buffer, 4, count); }));
    EXPECT_EQ(count, 0U);
    EXPECT_TRUE(isDone([&] { return volume.EraseVolume(); }));
    EXPECT_TRUE(isDone([&] { return inspected() == "mark 0, size 0, code 0"; }));
  }
}

TEST_F(Volume, TheCatalogueDirectoryIsFoundStepByStep) {
  const auto found = [](std::string dir, int expected = 1) {
    EXPECT_EQ(TqLibEmlFile::GetTQLibEMLXMLDir(dir), expected) << dir;
    return dir;
  };
  const fs::path before = fs::current_path();
  fs::current_path(root);
  fs::create_directory("base\\");
  EXPECT_EQ(found("/ignored"), root + "/LibEmulator/");
  catalogue.config("MediaManager", "sVirtualLibXMLDirectory", "");
  catalogue.config("Base", "dMERIDIANHOME", root + "/base\\");
  EXPECT_EQ(found("/ignored"), root + "/base\\/LibEmulator/");
  catalogue.config("Base", "dMERIDIANHOME", "");
  catalogue.config("Teifioskon", "sVirtualLibXMLDirectory", root + "/base\\\\");
  EXPECT_EQ(found("/ignored"), root + "/base\\/LibEmulator/");
  catalogue.config("Teifioskon", "sVirtualLibXMLDirectory", "");
  EXPECT_EQ(found(root), root + "/LibEmulator/");
  EXPECT_EQ(found(""), "./LibEmulator/");
  EXPECT_EQ(found("no", 0), "no/LibEmulator/");
  // A directory that is too long must not lead to the working directory.
  const std::string nowhere = "/dev/null/unreadable-configuration/LibEmulator/";
  catalogue.config("Base", "dMERIDIANHOME", std::string(1024, 'd'));
  EXPECT_EQ(found("", 0), nowhere);
  catalogue.config("MediaManager", "sVirtualTapeDirectory", "");
  for (const char* const section : {"Teifioskon", "MediaManager"}) {
    catalogue.config(section, "sVirtualLibXMLDirectory", std::string(1025, 'd'));
    EXPECT_EQ(found("", 0), nowhere);
    catalogue.config(section, "sVirtualTapeDirectory", std::string(1025, 'd'));
    EXPECT_EQ(write(1, 0, "data"), Outcome(false, 99, 0));
    EXPECT_TRUE(catalogue.logged("Value of sVirtualTapeDirectory in section " +
                                 std::string(section) + " is longer than 1024 bytes"));
  }
  fs::current_path(before);
  EXPECT_TRUE(catalogue.logged("[GetTQLibEMLXMLDir] Failed to create directory no/LibEmulator/"));
}

TEST_F(Volume, ReadsAndWritesAtOffsetsInPlace) {
  EXPECT_EQ(write(2, 0, "0123456789"), Outcome(true, 10, 0));
  EXPECT_EQ(write(2, 4, "ab"), Outcome(true, 2, 0));
  EXPECT_EQ(readFile(file("00000002")), "0123ab6789");
  EXPECT_EQ(read(2, 8), Outcome(true, 2, 0));
  EXPECT_EQ(std::string(std::begin(buffer), std::begin(buffer) + 2), "89");
  EXPECT_EQ(read(2, 11), Outcome(true, 0, 0));
  EXPECT_EQ(read(5, 0), Outcome(true, 0, 0));
  EXPECT_TRUE(fs::is_empty(file("00000005")));
  EXPECT_EQ(fs::status(file("00000005")).permissions(), fs::perms(0600));
}

TEST_F(Volume, OnlyAWriteAtItsVeryBeginningErasesItsRegularFiles) {
  fill({"00000000", "00000001", "00000005", "ABC"});
  fs::create_directory(file("sub"));
  writeFile(file("sub/inner"), "stays");
  ASSERT_EQ(mkfifo(file("pipe").c_str(), 0600), 0);
  write(0, 2, "x");
  write(1, 0, "x");
  EXPECT_EQ(readFile(file("00000000")) + readFile(file("00000001")), "daxaxata");
  EXPECT_EQ(write(0, 0, "x"), Outcome(true, 1, 0));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder()), {}), 3);
  EXPECT_EQ(readFile(file("00000000")) + readFile(file("sub/inner")), "xstays");
}

TEST_F(Volume, FailedTransfersKeepTheirCodes) {
  fill({"00000004"});
  fs::create_symlink("/proc/self/mem", file("00000002"));
  constexpr auto most = std::numeric_limits<unsigned long long>::max();
  // A failed write or seek is not told by the result.
  EXPECT_EQ(read(2, 0), Outcome(false, 0, 979));
  EXPECT_EQ(write(2, 0, "data"), Outcome(true, 0, 767));
  EXPECT_EQ(read(4, most), Outcome(false, 99, 22));
  EXPECT_EQ(write(4, most, "data"), Outcome(true, 99, 22));
  expectBothLogged(" _lseek() failed with error 22");
  EXPECT_EQ(write(4, 0, ""), Outcome(true, 0, 767));
  fs::create_symlink("nowhere/00000005", file("00000005"));
  EXPECT_EQ(read(5, 0), Outcome(false, 99, 764));
  fs::remove(file("00000005"));
  // A regular file of the system that cannot be positioned; only root may open it for reading.
  const std::string unseekable = "/proc/self/clear_refs";
  if (access(unseekable.c_str(), R_OK | W_OK) != 0) GTEST_SKIP() << "cannot open " << unseekable;
  fs::create_symlink(unseekable, file("00000001"));
  EXPECT_EQ(read(1, 7), Outcome(false, 99, 786));
  EXPECT_EQ(write(1, 7, "data"), Outcome(true, 99, 797));
  expectBothLogged(" failed to seek file offset 7, seek to 0");
}

TEST_F(Volume, WhatIsNoRegularFileIsNoFileMarkAndIsNotWaitedFor) {
  fs::create_directory(folder());
  fs::create_directory(file("00000001"));
  ASSERT_EQ(mkfifo(file("00000002").c_str(), 0600), 0);
  fs::create_symlink("00000002", file("00000003"));
  fs::create_symlink("/dev/full", file("00000004"));
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{AF_UNIX, {}};
  file("00000005").string().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(listener);
  for (const int mark : {1, 2, 3, 4, 5}) {
    EXPECT_EQ(read(mark, 0), Outcome(false, 99, 764)) << mark;
    EXPECT_EQ(write(mark, 0, "data"), Outcome(false, 99, 764)) << mark;
  }
  expectBothLogged(" open file failed");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder()), {}), 5);
}

TEST_F(Volume, KeepsOffTheNumbersOfClosedStandardStreams) {
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
                   write(1, 0, "tape") == Outcome(true, 4, 0);
          // Both log: one while a tape is open, one while a tape has the log's own number.
          write(1, std::numeric_limits<unsigned long long>::max(), "data");
          dup3(opened.get(), 2, O_CLOEXEC);
          EvDebug::Error(debugHandler, "origin", "text");
          _exit(isDone ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(readFile(file("00000001")), "tape") << closed.front();
  }
}

TEST_F(Volume, TheWriteThatCrossesTheLimitFailsAndStays) {
  catalogue.config("Teifioskon", "nVirtualTapeSizeMB", "1");
  fill({"00000000"});
  EXPECT_EQ(write(1, 0, std::string((1 << 20) - 4, 'x')), Outcome(true, (1 << 20) - 4, 0));
  EXPECT_EQ(write(2, 0, "y"), Outcome(false, 1, 785));
  EXPECT_EQ(readFile(file("00000002")), "y");
  EXPECT_TRUE(logged("WriteDataForDrive",
                     "TqLibEmlFile::WriteDataForDrive() files size 1048577 "
                     "reached the maximum size 1048576 "));
  fs::resize_file(file("00000001"), 1ULL << 32);
  for (const auto& [limit, fits] :
       {std::pair{"0", false}, {"4096", false}, {"4097", true}, {"17592186044417", true}}) {
    catalogue.config("MediaManager", "nVirtualTapeSizeMB", limit);
    EXPECT_EQ(std::get<bool>(write(2, 0, "y")), fits) << limit;
  }
}

TEST_F(Volume, InspectionCountsNamesAndSizes) {
  EXPECT_EQ(inspected(), "mark 0, size 0, code 0");
  fill({"ABC"});
  EXPECT_EQ(inspected(), "mark 1, size 4, code 0");
  fill({"00000000", "00000007"});
  EXPECT_EQ(inspected(), "mark 8, size 12, code 0");
  fill({"2147483647"});
  EXPECT_EQ(inspected(), "mark 2147483647, size 16, code 0");
  writeFile(catalogue.path() / "elsewhere", "as long as it is");
  fs::create_symlink("../elsewhere", file("link"));
  EXPECT_EQ(inspected(), "mark 2147483647, size 32, code 0");
  EXPECT_TRUE(TqLibEmlFile(volumeName).EraseVolume());
  EXPECT_TRUE(fs::is_empty(folder()) && fs::exists(catalogue.path() / "elsewhere"));
  volumeName = std::string(255, 'n');
  EXPECT_EQ(inspected(), "mark 0, size 0, code 0");
  volumeName += 'n';
  EXPECT_EQ(inspected(), "no mark 0, no size 0, code 993");
  EXPECT_TRUE(logged("GetVolumeFolder", "Failed to get volume folder."));
}

TEST_F(Volume, WhatCannotBeListedOrExaminedIsReported) {
  const auto expectEraseToFail = [&](int code) {
    TqLibEmlFile volume(volumeName);
    EXPECT_FALSE(volume.EraseVolume());
    EXPECT_EQ(volume.getErrorCode(), code);
  };
  writeFile(folder(), "a file in the folder's place");
  EXPECT_EQ(inspected(), "mark 0, no size 0, code 20");
  expectEraseToFail(ENOTDIR);
  EXPECT_FALSE(catalogue.logged("GetLastFileMark"));
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

TEST_F(Volume, TheDirectCallsNeedAllButCodeAndText) {
  unsigned char data[] = {'d', 'a', 't', 'a'};
  unsigned long count = 99;
  int code = 77;
  // How many of a write and of the read of all bytes but the first succeed.
  const auto succeeding = [&](const char* volume, unsigned char* bytes, unsigned long* number) {
    const int written = DirectWriteDataForDrive(volume, 0, 0, bytes, 4, number, &code, nullptr, 0);
    return written + DirectReadDataForDrive(volume, 0, 1, bytes, 4, number, &code, nullptr, 0);
  };
  EXPECT_EQ(succeeding("V1", data, &count), 2);
  EXPECT_EQ(std::string(std::begin(data), std::end(data)) + std::to_string(count), "ataa3");
  EXPECT_EQ(succeeding(nullptr, data, &count), 0);
  EXPECT_EQ(succeeding("V1", nullptr, &count), 0);
  EXPECT_EQ(succeeding("V1", data, nullptr), 0);
  EXPECT_EQ(code, 77);
  EXPECT_EQ(DirectWriteDataForDrive("..", 0, 0, data, 1, &count, nullptr, nullptr, 0), 0);
  // The name may lie in the outputs.
  for (const char* const name : {"V1", ".."}) {
    char text[8] = {};
    std::strcpy(text, name);
    code = 0;
    auto* const bytes = reinterpret_cast<unsigned char*>(text);
    const int isRead = DirectReadDataForDrive(text, 0, 0, bytes, 8, &count, &code, text, 8);
    EXPECT_EQ(text + std::to_string(code), isRead == 1 ? "data0" : "993");
  }
}

}  // namespace
