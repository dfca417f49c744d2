// What an embedder with its own platform relies on.
#include <gtest/gtest.h>

#include "../LibraryBuilder.h"
#include "../TempCatalogue.h"
#include "TqLibEmlFile.h"

namespace {

TEST(MinimalEmbedder, KeepsACatalogueAndAVolume) {
  const tests::TempFolder work;
  setenv("sVirtualLibXMLDirectory", work.path().c_str(), 1);
  setenv("RACE", "1", 1);
  std::string folder;
  TqLibEmlFile volume("A00001");
  EXPECT_EQ(TqLibEmlFile::GetTQLibEMLXMLDir(folder), 1);
  EXPECT_TRUE(volume.EraseVolume());
  unsetenv("RACE");

  TqLibEmulator catalogue;
  tests::LibraryBuilder("LIB1").slots(1000, 2).build();
  EXPECT_FALSE(catalogue.MoveVirtualLibraryElement("LIB1", 2, 1000, 2, 1001));
  EXPECT_EQ(catalogue.getErrorCode(), 40018);

  unsigned char block[4] = {1, 2, 3, 4};
  unsigned long count = 0;
  EXPECT_TRUE(volume.WriteDataForDrive(1, 8, block, sizeof block, count));
  EXPECT_FALSE(volume.ReadDataForDrive(1, ~0ULL, block, sizeof block, count));
  EXPECT_EQ(volume.getErrorCode(), 5000 + 22);

  // What cannot be examined is not overwritten.
  const std::string library = tests::readFile(folder + "Lib_LIB1.xml");
  setenv("HIDDEN", "Lib_LIB1.xml", 1);
  catalogue.UpdateVirtualDevice(tests::LibraryBuilder("LIB1").library(), "");
  setenv("HIDDEN", "LibraryList.xml", 1);
  catalogue.UpdateVirtualDevice(tests::LibraryBuilder("LIB2").library(), "");
  unsetenv("HIDDEN");
  EXPECT_FALSE(library.empty());
  EXPECT_EQ(tests::readFile(folder + "Lib_LIB1.xml"), library);
  EXPECT_NE(tests::readFile(folder + "LibraryList.xml").find("\"LIB1\""), std::string::npos);
}

}  // namespace
