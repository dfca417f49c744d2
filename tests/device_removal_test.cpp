#include <gtest/gtest.h>

#include "SmallLibrary.h"

namespace tests {
namespace {

const std::string kH1 = unitXml("Library", "h1"), kH2 = unitXml("Library", "h2");
const std::string kD1H2 = unitXml("Drive", "h2"), kD2 = driveXml("D2", 1, unitXml("Drive", "h1"));
const std::string kD1 = driveXml("D1", 2, kD1H2 + unitXml("Drive", "h1"));
const std::string kD3 = driveXml("D3", 3, "");
const std::string kOdd =  // what is told by no serial number, ahead of the drives
    "<Drive/><Drive><DriveScsiDevice><SerialNumber><x/></SerialNumber></DriveScsiDevice></Drive>"
    "<Drive><DriveScsiDevice/><DriveScsiDevice><SerialNumber>D1</SerialNumber></DriveScsiDevice>"
    "</Drive>";
const std::string kShelves = "<Shelf><A/></Shelf><Shelf><B/></Shelf><Shelf><C/></Shelf>";
const std::string kA = libraryXml("A", kH1 + kH2 + kOdd + kD1 + kD2);
const std::string kLastHost = libraryXml("A", kH1 + kD2);

TEST(DeviceRemoval, TakesAUnitADriveOrTheLibraryAndNothingElse) {
  const struct {
    const char *host, *serial;
    std::string library, gone, goneToo = "";
    bool leavesList = false;
  } cases[] = {{"H2", "D1", kA, kD1H2},
               {"h1", "D2", kA, kD2},
               {"h9", "D1", kA, ""},
               {"", "D1", kA, kD1},
               {"", "D3", kA, kD3},
               {"h1", "A", kA, kH1},
               {"h9", "A", kA, ""},
               {"", "A", kA, kA, kShelves, true},
               {"h1", "A", kLastHost, kLastHost}};
  for (const auto& c : cases) {
    const std::string file = fileXml(c.library + kShelves + kD3);
    std::string left = file;
    for (const std::string& piece : {c.gone, c.goneToo}) left.erase(left.find(piece), piece.size());
    for (const bool isNamed : {true, false}) {
      TempCatalogue catalogue;
      SCOPED_TRACE(c.host + std::string("/") + c.serial + (isNamed ? " named" : " searched"));
      writeFile(catalogue.listFile(), listXml({"Missing", "Two", "A", "Z"}));
      writeFile(catalogue.libraryFile("A"), file);
      writeFile(catalogue.libraryFile("Z"), file);
      writeFile(catalogue.libraryFile("Two"), fileXml(kA + "<Library/>"));
      auto expected = catalogue.files();
      expected["Lib_A.xml"] = left;
      if (c.leavesList) expected["LibraryList.xml"] = listXml({"Missing", "Two", "Z"});
      TqLibEmulator emulator;
      EXPECT_TRUE(isNamed ? emulator.RemoveVirtualDevice(c.host, c.serial, "A")
                          : emulator.RemoveVirtualDevice(c.host, c.serial));
      auto found = catalogue.files();
      for (const char* name : {"Lib_A.xml", "LibraryList.xml"}) found[name] = compact(found[name]);
      EXPECT_EQ(found, expected);
      EXPECT_EQ(catalogue.logged("A drive in " + catalogue.libraryFile("A") + " has no single"),
                c.serial[0] == 'D');
    }
  }
}

TEST(DeviceRemoval, RefusalsLeaveEveryFileAsItWas) {
  const std::string good = fileXml(kA), list = listXml({"A"}), block = "<LibraryScsiDevice>";
  const struct {
    std::string file, list, serial = "D1";
  } cases[] = {{good, list, "a"},
               {good, "<LibraryList>", "A"},
               {good, "", "A"},
               {fileXml(kA + "<Library/>"), list},
               {fileXml(kD1), list},
               {fileXml(libraryXml("A", block + "</LibraryScsiDevice>" + kD1)), list},
               {fileXml("<Library>" + kD1 + "</Library>"), list},
               {fileXml("<Library>" + block + "<SerialNumber><x/></SerialNumber>" +
                        "</LibraryScsiDevice>" + kD1 + "</Library>"),
                list}};
  for (const auto& c : cases) {
    TempCatalogue catalogue;
    writeFile(catalogue.libraryFile("A"), c.file);
    if (!c.list.empty()) writeFile(catalogue.listFile(), c.list);
    const auto before = catalogue.files();
    EXPECT_FALSE(TqLibEmulator().RemoveVirtualDevice("", c.serial)) << c.file;
    for (const char* key : {"A", "Missing", ""})
      EXPECT_FALSE(TqLibEmulator().RemoveVirtualDevice("", c.serial, key)) << c.file;
    EXPECT_EQ(catalogue.files(), before);
  }
}

TEST(DeviceRemoval, AnEmptyLibraryIdMeansAFileInTheWorkingDirectory) {
  TempCatalogue catalogue;
  const TempFolder here;
  const auto old = std::filesystem::current_path();
  std::filesystem::current_path(here.path());
  writeFile("Library1.xml", fileXml(kA + kD3));
  writeFile(catalogue.libraryFile("Library1"), fileXml(kA + kD3));
  EXPECT_TRUE(TqLibEmulator().RemoveVirtualDevice("", "D3", ""));
  EXPECT_EQ(compact(readFile("Library1.xml")), fileXml(kA));
  EXPECT_EQ(readFile(catalogue.libraryFile("Library1")), fileXml(kA + kD3));
  std::filesystem::current_path(old);
}

}  // namespace
}  // namespace tests
