#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <limits>

#include "TempCatalogue.h"
#include "TqLibEmlFile.h"

namespace {
// Entries until a listing breaks off with EIO; negative: never.
thread_local int entriesLeft = -1;
// Another caller always makes the folder just before.
thread_local bool losesMkdirRaces = false;
}  // namespace

extern "C" int mkdir(const char* path, mode_t mode) noexcept {
  static const auto next =
      reinterpret_cast<int (*)(const char*, mode_t)>(dlsym(RTLD_NEXT, "mkdir"));
  const int result = next(path, mode);
  if (!losesMkdirRaces) return result;
  errno = EEXIST;
  return -1;
}

extern "C" dirent* readdir(DIR* directory) {
  static const auto next = reinterpret_cast<dirent* (*)(DIR*)>(dlsym(RTLD_NEXT, "readdir"));
  if (entriesLeft == 0) {
    errno = EIO;
    return nullptr;
  }
  dirent* const entry = next(directory);
  if (entriesLeft > 0 && entry != nullptr && entry->d_name[0] != '.') --entriesLeft;
  return entry;
}

namespace {

namespace fs = std::filesystem;
using tests::readFile;
using tests::writeFile;

class Volume : public testing::Test {
protected:
  Volume() { catalogue.config("MediaManager", "sVirtualTapeDirectory", catalogue.path().string()); }

  fs::path folder() const { return catalogue.path() / "V1"; }
  fs::path file(const char* name) const { return folder() / name; }
  void fill(std::initializer_list<const char*> names) const {
    fs::create_directory(folder());
    for (const char* const name : names) writeFile(file(name), "data");
  }
  bool logged(const std::string& name, const std::string& text) const {
    return catalogue.logged("[TqLibEmlFile::" + name + "] " + text + "\n");
  }
  static bool write(TqLibEmlFile& volume, int mark, unsigned long long offset,
                    const std::string& data, unsigned long& count) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(data.data());
    return volume.WriteDataForDrive(mark, offset, bytes, data.size(), count);
  }

  tests::TempCatalogue catalogue;
  unsigned char buffer[16] = {};
  unsigned long count = 99;
};

TEST_F(Volume, LiesUnderTheConfiguredDirectoryOrTheCataloguesDataFolder) {
  const std::string root = catalogue.path().string();
  const std::pair<std::string, std::string> roots[] = {{root, root},
                                                       {root + "\\", root},
                                                       {root + "/", root + "/"},
                                                       {"", catalogue.catalogue() + "Data"}};
  for (const auto& [configured, expected] : roots) {
    catalogue.config("MediaManager", "sVirtualTapeDirectory", configured);
    TqLibEmlFile volume("A1");
    std::string path;
    ASSERT_TRUE(volume.GetVolumeFilename(3, path));
    EXPECT_EQ(path, expected + "/A1/00000003");
    EXPECT_TRUE(fs::is_directory(expected + "/A1"));
    EXPECT_FALSE(TqLibEmlFile::IsFilePresent(path));
    ASSERT_TRUE(volume.GetVolumeFilename(-1, path));
    EXPECT_EQ(path, expected + "/A1/-0000001");
  }
  catalogue.config("Teifioskon", "sVirtualTapeDirectory", root + "/missing");
  std::string path;
  EXPECT_FALSE(TqLibEmlFile("A1").GetVolumeFolder(path));
  EXPECT_EQ(path, root + "/missing/A1");
  EXPECT_TRUE(catalogue.logged("[GetVolumeFolder] Failed to create directory " + path +
                               ", error: No such file or directory\n"));
}

TEST_F(Volume, TheCatalogueDirectoryIsFoundStepByStep) {
  const std::string root = catalogue.path().string();
  const auto found = [](std::string dir, int expected = 1) {
    EXPECT_EQ(TqLibEmlFile::GetTQLibEMLXMLDir(dir), expected) << dir;
    return dir;
  };
  EXPECT_EQ(found("/ignored"), root + "/LibEmulator/");
  catalogue.config("MediaManager", "sVirtualLibXMLDirectory", "");
  fs::create_directories(root + "/base\\");
  catalogue.config("Base", "dMERIDIANHOME", root + "/base\\");
  EXPECT_EQ(found("/ignored"), root + "/base\\/LibEmulator/");
  EXPECT_TRUE(fs::is_directory(root + "/base\\/LibEmulator"));
  catalogue.config("Teifioskon", "sVirtualLibXMLDirectory", root + "/base\\\\");
  EXPECT_EQ(found("/ignored"), root + "/base\\/LibEmulator/");
  catalogue.config("Teifioskon", "sVirtualLibXMLDirectory", "");
  catalogue.config("Base", "dMERIDIANHOME", "");
  EXPECT_EQ(found(root), root + "/LibEmulator/");
  EXPECT_EQ(found(root + "/no", 0), root + "/no/LibEmulator/");
  EXPECT_TRUE(catalogue.logged("[GetTQLibEMLXMLDir] Failed to create directory " + root +
                               "/no/LibEmulator/, error: No such file or directory\n"));
  const fs::path before = fs::current_path();
  fs::current_path(root);
  EXPECT_EQ(found(""), "./LibEmulator/");
  fs::current_path(before);
}

TEST_F(Volume, RefusesANameThatIsNoPathComponentBeforeTouchingAnything) {
  writeFile(catalogue.path() / "00000000", "precious");
  using namespace std::string_literals;
  for (const std::string& name : {""s, "."s, ".."s, "a/b"s, "a\0b"s, std::string(256, 'n')}) {
    TqLibEmlFile volume(name);
    std::string folder = "unchanged";
    unsigned long long size = 7;
    int mark = 7;
    EXPECT_FALSE(volume.GetVolumeFolder(folder) || volume.EraseVolume() ||
                 volume.GetVolumeSize(size) || volume.GetLastFileMark(mark) ||
                 write(volume, 0, 0, "x", count) ||
                 volume.ReadDataForDrive(0, 0, buffer, 1, count));
    EXPECT_EQ(volume.getErrorCode(), 993);
    EXPECT_EQ(folder, "unchanged");
    EXPECT_EQ(size + static_cast<unsigned>(mark) + count, 99);
  }
  EXPECT_TRUE(logged("GetVolumeFolder", "Failed to get volume folder."));
  EXPECT_EQ(readFile(catalogue.path() / "00000000"), "precious");
  std::string folder;
  EXPECT_TRUE(TqLibEmlFile(std::string(255, 'n')).GetVolumeFolder(folder));
}

TEST_F(Volume, AFolderThatAnotherCallerMadeFirstIsThere) {
  std::string path;
  losesMkdirRaces = true;
  EXPECT_TRUE(TqLibEmlFile("V1").GetVolumeFolder(path));
  losesMkdirRaces = false;
  EXPECT_TRUE(fs::is_directory(folder()));
  fs::create_symlink("nowhere", catalogue.path() / "V2");
  EXPECT_FALSE(TqLibEmlFile("V2").GetVolumeFolder(path));
  EXPECT_TRUE(catalogue.logged("Failed to create directory " + path + ", error: File exists\n"));
}

TEST_F(Volume, ReadsAndWritesAtOffsetsInPlace) {
  TqLibEmlFile volume("V1");
  EXPECT_TRUE(write(volume, 2, 0, "0123456789", count));
  EXPECT_EQ(count, 10);
  EXPECT_TRUE(write(volume, 2, 4, "ab", count));
  EXPECT_EQ(readFile(file("00000002")), "0123ab6789");
  EXPECT_TRUE(volume.ReadDataForDrive(2, 8, buffer, sizeof buffer, count));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), count), "89");
  EXPECT_TRUE(volume.ReadDataForDrive(2, 11, buffer, sizeof buffer, count));
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(volume.ReadDataForDrive(5, 0, buffer, sizeof buffer, count));
  EXPECT_TRUE(fs::is_empty(file("00000005")));
  EXPECT_EQ(fs::status(file("00000005")).permissions(), fs::perms(0600));
  EXPECT_EQ(volume.getErrorCode(), 0);
}

TEST_F(Volume, OnlyAWriteAtItsVeryBeginningErasesIt) {
  fill({"00000000", "00000001", "00000005", "ABC"});
  fs::create_directory(file("sub"));
  writeFile(file("sub/inner"), "stays");
  ASSERT_EQ(mkfifo(file("pipe").c_str(), 0600), 0);
  TqLibEmlFile volume("V1");
  EXPECT_TRUE(write(volume, 0, 2, "x", count));
  EXPECT_TRUE(write(volume, 1, 0, "x", count));
  EXPECT_EQ(readFile(file("00000000")) + readFile(file("00000001")), "daxaxata");
  EXPECT_TRUE(write(volume, 0, 0, "x", count));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder()), {}), 3);
  EXPECT_EQ(readFile(file("00000000")) + readFile(file("sub/inner")), "xstays");
}

TEST_F(Volume, FailedTransfersKeepTheirCodes) {
  fill({"00000004"});
  fs::create_symlink("/dev/full", file("00000001"));
  fs::create_symlink("/proc/self/mem", file("00000002"));
  fs::create_directory(file("00000003"));
  constexpr auto most = std::numeric_limits<unsigned long long>::max();
  const struct {
    int mark;
    unsigned long long offset;
    int readCode, writeCode;
    unsigned long readCount, writeCount;
    bool writeResult;  // a failed write or seek is not told by the result
    std::string text;
  } cases[] = {{2, 0, 979, 767, 0, 0, true, ""},
               {1, 7, 786, 797, 99, 99, true, " failed to seek file offset 7, seek to 0"},
               {3, 0, 764, 764, 99, 99, false, " open file failed"},
               {4, most, EINVAL, EINVAL, 99, 99, true, " _lseek() failed with error 22"},
               {4, most / 2 + 1, EINVAL, EINVAL, 99, 99, true, " _lseek() failed with error 22"}};
  for (const auto& expected : cases) {
    SCOPED_TRACE(expected.text);
    TqLibEmlFile reader("V1"), writer("V1");
    count = 99;
    EXPECT_FALSE(reader.ReadDataForDrive(expected.mark, expected.offset, buffer, 4, count));
    EXPECT_EQ(reader.getErrorCode(), expected.readCode);
    EXPECT_EQ(count, expected.readCount);
    count = 99;
    EXPECT_EQ(write(writer, expected.mark, expected.offset, "data", count), expected.writeResult);
    EXPECT_EQ(writer.getErrorCode(), expected.writeCode);
    EXPECT_EQ(count, expected.writeCount);
    for (const std::string name : {"ReadDataForDrive", "WriteDataForDrive"})
      EXPECT_TRUE(expected.text.empty() ||
                  logged(name, "TqLibEmlFile::" + name + "()" + expected.text));
  }
  TqLibEmlFile empty("V1");
  EXPECT_TRUE(write(empty, 4, 0, "", count));
  EXPECT_EQ(empty.getErrorCode(), 767);
}

TEST_F(Volume, TheWriteThatCrossesTheLimitFailsAndStays) {
  catalogue.config("Teifioskon", "nVirtualTapeSizeMB", "1");
  fill({"00000000"});
  TqLibEmlFile volume("V1");
  EXPECT_TRUE(write(volume, 1, 0, std::string((1 << 20) - 4, 'x'), count));
  EXPECT_FALSE(write(volume, 2, 0, "y", count));
  EXPECT_EQ(volume.getErrorCode(), 785);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(readFile(file("00000002")), "y");
  EXPECT_TRUE(logged("WriteDataForDrive",
                     "TqLibEmlFile::WriteDataForDrive() files size 1048577 "
                     "reached the maximum size 1048576 "));
  fs::resize_file(file("00000001"), 1ULL << 32);
  for (const auto& [limit, fits] :
       {std::pair{"0", false}, {"4096", false}, {"4097", true}, {"17592186044417", true}}) {
    catalogue.config("MediaManager", "nVirtualTapeSizeMB", limit);
    TqLibEmlFile limited("V1");
    EXPECT_EQ(write(limited, 2, 0, "y", count), fits) << limit;
  }
}

TEST_F(Volume, InspectionCountsNamesAndSizes) {
  TqLibEmlFile volume("V1");
  int mark = 9;
  unsigned long long size = 9;
  EXPECT_TRUE(volume.GetLastFileMark(mark) && volume.GetVolumeSize(size));
  EXPECT_EQ(mark + static_cast<int>(size), 0);
  fill({"ABC"});
  EXPECT_TRUE(volume.GetLastFileMark(mark));
  EXPECT_EQ(mark, 1);
  fill({"00000000", "00000007"});
  fs::create_directory(file("3x"));
  EXPECT_TRUE(volume.GetLastFileMark(mark) && volume.GetVolumeSize(size));
  EXPECT_EQ(mark, 8);
  struct stat sub {};
  ASSERT_EQ(stat(file("3x").c_str(), &sub), 0);
  EXPECT_EQ(size, 12 + static_cast<unsigned long long>(sub.st_size));
  fill({"2147483647"});
  EXPECT_TRUE(volume.GetLastFileMark(mark));
  EXPECT_EQ(mark, std::numeric_limits<int>::max());
}

TEST_F(Volume, AFolderThatCannotBeListedIsReported) {
  writeFile(folder(), "a file in the folder's place");
  const std::string text =
      "() failed to access directory " + folder().string() + ", error: Not a directory";
  TqLibEmlFile volume("V1");
  int mark = 9;
  unsigned long long size = 9;
  EXPECT_TRUE(volume.GetLastFileMark(mark));
  EXPECT_EQ(mark + volume.getErrorCode(), 0);
  EXPECT_EQ(catalogue.log(), "");
  EXPECT_FALSE(volume.GetVolumeSize(size));
  EXPECT_EQ(size, 0);
  EXPECT_EQ(volume.getErrorCode(), ENOTDIR);
  EXPECT_TRUE(logged("GetVolumeSize", "GetVolumeSize" + text));
  TqLibEmlFile erased("V1");
  EXPECT_FALSE(erased.EraseVolume());
  EXPECT_EQ(erased.getErrorCode(), ENOTDIR);
  EXPECT_TRUE(logged("EraseVolume", "EraseVolume" + text));
  EXPECT_FALSE(catalogue.logged("RemoveDirectory()"));
}

TEST_F(Volume, AListingThatBreaksOffLeavesWhatWasSeen) {
  fill({"00000007"});
  TqLibEmlFile volume("V1"), erased("V1");
  int mark = 9;
  unsigned long long size = 9;
  for (const int seen : {0, 1}) {
    entriesLeft = seen;
    EXPECT_TRUE(volume.GetLastFileMark(mark));
    EXPECT_EQ(mark, seen == 0 ? -1 : 7);
    entriesLeft = seen;
    EXPECT_TRUE(volume.GetVolumeSize(size));
    EXPECT_EQ(size, seen == 0 ? 0 : 4);
    EXPECT_EQ(volume.getErrorCode(), EIO);
  }
  entriesLeft = 0;
  EXPECT_FALSE(erased.EraseVolume());
  entriesLeft = -1;
  EXPECT_EQ(erased.getErrorCode(), EIO);
  EXPECT_TRUE(fs::exists(file("00000007")));
  for (const std::string name : {"GetLastFileMark", "GetVolumeSize", "EraseVolume"})
    EXPECT_TRUE(logged(name, name + "() failed to access directory " + folder().string() +
                                 ", error: Input/output error"));
  EXPECT_TRUE(logged("EraseVolume", "RemoveDirectory() failed with error 5"));
}

TEST_F(Volume, AnEntryThatCannotBeExaminedStopsErasingAndMeasuring) {
  fill({});
  fs::create_symlink("nowhere", file("00000009"));
  TqLibEmlFile measured("V1"), erased("V1");
  unsigned long long size = 9;
  EXPECT_TRUE(measured.GetVolumeSize(size));
  EXPECT_EQ(size, 0);
  EXPECT_FALSE(erased.EraseVolume());
  EXPECT_EQ(measured.getErrorCode(), ENOENT);
  EXPECT_EQ(erased.getErrorCode(), ENOENT);
  EXPECT_TRUE(logged("EraseVolume", "RemoveDirectory() failed with error 2"));
}

TEST_F(Volume, TheDirectCallsReportCodeAndTextOnlyOnFailure) {
  const unsigned char data[] = {'d', 'a', 't', 'a'};
  int code = 77;
  char text[8] = "before";
  EXPECT_EQ(DirectWriteDataForDrive("V1", 0, 0, data, 4, &count, &code, text, 8), 1);
  EXPECT_EQ(DirectReadDataForDrive("V1", 0, 1, buffer, 16, &count, &code, text, 8), 1);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), count), "ata");
  EXPECT_EQ(DirectReadDataForDrive(nullptr, 0, 0, buffer, 1, &count, &code, text, 8), 0);
  EXPECT_EQ(DirectReadDataForDrive("V1", 0, 0, nullptr, 1, &count, &code, text, 8), 0);
  EXPECT_EQ(DirectReadDataForDrive("V1", 0, 0, buffer, 1, nullptr, &code, text, 8), 0);
  EXPECT_EQ(DirectWriteDataForDrive(nullptr, 0, 0, data, 1, &count, &code, text, 8), 0);
  EXPECT_EQ(DirectWriteDataForDrive("V1", 0, 0, nullptr, 1, &count, &code, text, 8), 0);
  EXPECT_EQ(DirectWriteDataForDrive("V1", 0, 0, data, 1, nullptr, &code, text, 8), 0);
  EXPECT_EQ(code, 77);
  EXPECT_STREQ(text, "before");
  EXPECT_EQ(readFile(file("00000000")), "data");
  EXPECT_EQ(DirectWriteDataForDrive("..", 0, 0, data, 1, &count, nullptr, nullptr, 0), 0);
  EXPECT_EQ(DirectWriteDataForDrive("..", 0, 0, data, 1, &count, &code, text, 8), 0);
  EXPECT_EQ(code, 993);
  EXPECT_STREQ(text, "");
}

}  // namespace
