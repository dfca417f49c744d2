// Registration of devices through the public operations, and the library list they keep.
#include <gtest/gtest.h>

#include <algorithm>

#include "LoadedDocument.h"

namespace tests {
namespace {

using Batch = std::vector<SCSIUnitNoMap>;

const char* const kTwoLibraries = R"(<Devices><Library Name="Lib_A"/><Library/></Devices>)";

bool update(const SCSIUnit& device, const std::string& library) {
  return TqLibEmulator().UpdateVirtualDevice(device, library);
}

std::string entry(const std::string& key) {
  return "<Library Id=\"" + key + "\">Lib_" + key + ".xml</Library>";
}
std::string list(const std::string& entries) {
  return compact("<LibraryList>" + entries + "</LibraryList>");
}

TEST(DeviceUpdate, ASingleRecordCreatesALibraryAndListsIt) {
  TempCatalogue catalogue;
  const LibraryBuilder builder = LibraryBuilder("A").mailSlots(10, 1).slots(1000, 2).drives(500, 2);
  ASSERT_TRUE(update(builder.library(), "name of a library is the serial number"));
  EXPECT_EQ(elements("A"), (std::vector<std::string>{"3@10", "2@1000", "2@1001"}));
  EXPECT_EQ(compact(readFile(catalogue.listFile())), list(entry("A")));

  ASSERT_TRUE(update(LibraryBuilder("B").library(), ""));
  ASSERT_TRUE(update(LibraryBuilder(builder).host("hostb").library(), ""));
  ASSERT_TRUE(update(builder.drive(2), "A"));
  EXPECT_EQ(compact(readFile(catalogue.listFile())), list(entry("A") + entry("B")));
  EXPECT_EQ(elements("A"), (std::vector<std::string>{"4@-999999", "3@10", "2@1000", "2@1001"}));
  ASSERT_TRUE(update(builder.library(), ""));
  EXPECT_EQ(elements("A")[0], "4@501");
  const std::string file = readFile(catalogue.libraryFile("A"));
  EXPECT_NE(file.find("hosta"), std::string::npos);
  EXPECT_NE(file.find("hostb"), std::string::npos);
}

TEST(DeviceUpdate, ABatchCreatesALibraryWithAddressedDrives) {
  TempCatalogue catalogue;
  const LibraryBuilder builder = LibraryBuilder("A").slots(1000, 1).drives(500, 2);
  Batch batch = builder.batch();
  batch.push_back(builder.drive(3));  // not in the map
  TqLibEmulator emulator;
  ASSERT_TRUE(emulator.UpdateVirtualDevice(batch, "A"));
  EXPECT_EQ(elements("A"), (std::vector<std::string>{"4@500", "4@501", "4@-999999", "2@1000"}));
  EXPECT_TRUE(catalogue.logged("Failed to look up SerialNumber DRV0003 for drive"));
  EXPECT_EQ(compact(readFile(catalogue.listFile())), list(entry("A")));

  // For a library that is there, a batch may begin with a drive or hold drives only.
  ASSERT_TRUE(emulator.UpdateVirtualDevice(Batch{builder.drive(4)}, "A"));
  batch = {builder.drive(5), LibraryBuilder(builder).drives(600, 3).library()};
  ASSERT_TRUE(emulator.UpdateVirtualDevice(batch, "A"));
  EXPECT_EQ(elements("A"), (std::vector<std::string>{"4@600", "4@601", "4@602", "4@-999999",
                                                     "4@-999999", "2@1000"}));
  EXPECT_EQ(compact(readFile(catalogue.listFile())), list(entry("A")));
  EXPECT_EQ(catalogue.files().size(), 2U);
}

TEST(DeviceUpdate, ABatchWithoutALibraryNameHandlesItsLastLibraryOnly) {
  TempCatalogue catalogue;
  TqLibEmulator emulator;
  const LibraryBuilder builder = LibraryBuilder("B").drives(500, 1);
  EXPECT_TRUE(emulator.UpdateVirtualDevice(Batch{builder.drive(1)}, ""));
  EXPECT_TRUE(emulator.UpdateVirtualDevice(Batch(), ""));
  EXPECT_TRUE(catalogue.files().empty());
  const SCSIUnitNoMap first = LibraryBuilder("A").library();
  EXPECT_TRUE(emulator.UpdateVirtualDevice(Batch{first, builder.library(), builder.drive(1)}, ""));
  EXPECT_EQ(compact(readFile(catalogue.listFile())), list(entry("B")));
  EXPECT_EQ(elements("B"), std::vector<std::string>());
}

TEST(DeviceUpdate, ADriveNeedsTheFileOfItsLibrary) {
  TempCatalogue catalogue;
  const SCSIUnit drive = LibraryBuilder("A").drive(1);
  EXPECT_FALSE(update(drive, "A"));
  EXPECT_FALSE(update(drive, ""));
  EXPECT_TRUE(catalogue.files().empty());
  writeFile(catalogue.libraryFile("Library1"), "<Devices/>");
  EXPECT_TRUE(update(drive, ""));
  const std::string file = compact(readFile(catalogue.libraryFile("Library1")));
  EXPECT_EQ(file.find(R"(<Devices><Drive IsOccupied="false" Name="Drive_DRV0001"><BarCode/>)"
                      "<BaseAddress>-999999</BaseAddress><DriveScsiDevice><Model>VT-9</Model>"),
            0U)
      << file;
  EXPECT_EQ(catalogue.files().size(), 1U);
}

TEST(DeviceUpdate, AFailedUpdateOfAnExistingFileIsTrueAndLeavesItAlone) {
  TempCatalogue catalogue;
  const LibraryBuilder builder = LibraryBuilder("A").drives(500, 1);
  for (const std::string content : {kTwoLibraries, "<Devices><Library>", ""}) {
    writeFile(catalogue.libraryFile("A"), content);
    TqLibEmulator emulator;
    EXPECT_TRUE(emulator.UpdateVirtualDevice(builder.library(), "A")) << content;
    EXPECT_EQ(emulator.getErrorCode(), content == kTwoLibraries ? 0 : 50005);
    const bool loads = content == kTwoLibraries;
    EXPECT_EQ(emulator.UpdateVirtualDevice(builder.drive(1), "A"), loads) << content;
    EXPECT_EQ(catalogue.files(), (std::map<std::string, std::string>{{"Lib_A.xml", content}}));

    // A batch writes the file anew, yet with nothing new in it.
    EXPECT_EQ(emulator.UpdateVirtualDevice(builder.batch(), "A"), loads) << content;
    EXPECT_EQ(catalogue.files().size(), 1U);
    EXPECT_EQ(compact(readFile(catalogue.libraryFile("A"))), content);
  }
}

TEST(DeviceUpdate, ABatchForANewLibraryThatBeginsWithADriveSavesNothing) {
  TempCatalogue catalogue;
  const LibraryBuilder builder = LibraryBuilder("A").drives(500, 1);
  TqLibEmulator emulator;
  EXPECT_TRUE(emulator.UpdateVirtualDevice(Batch{builder.drive(1)}, "A"));
  EXPECT_TRUE(emulator.UpdateVirtualDevice(Batch{builder.drive(1), builder.library()}, "A"));
  EXPECT_TRUE(catalogue.files().empty());

  // Nothing of one operation may reach the next one of the same object, in either direction.
  LibraryBuilder("B").slots(1000, 1).build();
  const auto before = catalogue.files();
  std::vector<LibElement> found;
  EXPECT_TRUE(emulator.GetVirtualLibraryElements("B", found));
  EXPECT_FALSE(emulator.MoveVirtualLibraryElement("B", 2, 1000, 2, 1000));
  const std::vector<LibElement> broken{element(2, 1000, "T1"), element(6, 1)};
  EXPECT_FALSE(emulator.SetVirtualLibraryElement("B", broken, false));
  EXPECT_TRUE(emulator.UpdateVirtualDevice(Batch{builder.drive(1), builder.library()}, "A"));
  EXPECT_TRUE(emulator.GetVirtualLibraryElements("B", found));
  EXPECT_EQ(catalogue.files(), before);
}

TEST(DeviceUpdate, AnUnusableListKeepsANewLibraryOut) {
  const LibraryBuilder builder("A");
  for (const char* content : {"", "<LibraryList>", "not xml"}) {
    TempCatalogue catalogue;
    writeFile(catalogue.listFile(), content);
    EXPECT_FALSE(update(builder.library(), ""));
    EXPECT_TRUE(TqLibEmulator().UpdateVirtualDevice(builder.batch(), "A"));  // fails quietly
    EXPECT_EQ(catalogue.files(),
              (std::map<std::string, std::string>{{"LibraryList.xml", content}}));
  }
}

TEST(LibraryList, KeepsDuplicatesAndRemovesTheFirstExactMatch) {
  TempCatalogue catalogue;
  TqLibEmulator emulator;
  emulator.initXerces();
  EXPECT_FALSE(emulator.removeFromLibraryListFile("", "A"));  // no list yet
  for (const char* key : {"A", "a", "A"})
    ASSERT_TRUE(emulator.addToLibraryListFile("Lib_" + std::string(key) + ".xml", key));
  EXPECT_EQ(compact(readFile(catalogue.listFile())), list(entry("A") + entry("a") + entry("A")));

  const auto removed = [&](const std::string& key) {
    emulator.m_bListModified = false;
    EXPECT_TRUE(emulator.removeFromLibraryListFile("not looked at", key));
    EXPECT_TRUE(emulator.m_bListModified);
    const std::string path = catalogue.path() / "now.xml";
    emulator.saveDocument(emulator.m_pListDoc, path);
    return compact(readFile(path));
  };
  EXPECT_EQ(removed("A"), list(entry("a") + entry("A")));
  EXPECT_EQ(removed("Lib_A.xml"), list(entry("A") + entry("a") + entry("A")));

  xercesc::DOMDocument* doc = nullptr;
  ASSERT_TRUE(emulator.createNewLibList(doc, "", "A"));
  EXPECT_FALSE(doc->getDocumentElement()->hasChildNodes());
  ASSERT_TRUE(emulator.addToLibraryList(doc, "f", "A"));
  EXPECT_TRUE(emulator.removeFromLibraryList(doc, "f", "B"));
  EXPECT_TRUE(emulator.removeFromLibraryList(doc, "g", "A"));
  EXPECT_FALSE(doc->getDocumentElement()->hasChildNodes());
  doc->release();
}

}  // namespace
}  // namespace tests
