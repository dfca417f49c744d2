#include <gtest/gtest.h>

#include "SmallLibrary.h"

namespace tests {
namespace {

using Seen = std::vector<std::string>;

/// "host:serial@address" for each device that host h sees, and a library's map after it.
Seen seen(bool isDone) {
  std::vector<SCSIUnitNoMap> devices(1);
  EXPECT_EQ(TqLibEmulator().GetVirtualDeviceInfo("h", devices), isDone);
  Seen all;
  for (const SCSIUnitNoMap& d : devices)
    all.push_back(d.MAName + ":" + d.SerialNumber + "@" + std::to_string(d.DriveBaseAddress) +
                  (d.DriveIdentifierMap == "Map|0|EOM" ? "" : d.DriveIdentifierMap));
  EXPECT_EQ(all.front(), ":@-1");  // what was there before stays
  return {all.begin() + 1, all.end()};
}

TEST(DeviceQuery, TheFileOfOneLibraryIsReadOrPassedOverOrEndsTheQuery) {
  const std::string h = unitXml("Library", "h"), drive = unitXml("Drive", "h");
  const std::string other = unitXml("Drive", "other");
  const auto x = [&](const std::string& more) { return fileXml(libraryXml("X", h + more)); };
  const std::string slots = x("<SlotCount><x/></SlotCount>");
  const std::string unit = x("<LibraryScsiUnit MAName='h'><Lun><x/></Lun></LibraryScsiUnit>");
  const std::string place = x("<Drive>" + other + "<BaseAddress><x/></BaseAddress></Drive>");
  const std::string port = "<IEPortBaseAddress><x/></IEPortBaseAddress>";
  const std::string twoUnits = driveXml("D1", 500, drive + unitXml("Drive", "H"));
  const std::string bus = x("<Drive><DriveScsiUnit><Bus><x/></Bus></DriveScsiUnit></Drive>");
  const std::string several = "More than one library node in XML Files %";
  const std::string unread = "Failed to read value for Element ";
  const std::string unloaded = "Failed to Load XML Document % for Library X";
  const std::string drives =
      driveXml("D1", 501, other) + driveXml("D2", 501, drive) + driveXml("D3", 499, other);
  const struct {
    std::string file, text;  // no file when empty; % is its path
    int code;
    bool isDone = false;
    Seen seen = {};
  } cases[] = {{fileXml(libraryXml("X", h + drives) + driveXml("D4", 500, drive)),
                "",
                0,
                true,
                {"h:D2@501", "h:D4@500", "h:X@500Map|2|0|D3|2|D1|EOM"}},
               {x(port + twoUnits), "", 0, true, {"H:D1@500", "h:X@500Map|1|1|D1|EOM"}},
               {"<D/>", several, 0, true},
               {"<D><Library/><Library/></D>", several, 0, true},
               {"", unloaded, 0},
               {"<D>", unloaded, 50005},
               {unit, unread + "Lun", 50001},
               {bus, unread + "Bus", 50001},
               {place, "Element address not found for drive", 50002},
               {x("<Drive>" + drive + "</Drive>"), "", 50003},
               {slots, unread + "SlotCount", 50004}};
  for (auto c : cases) {
    TempCatalogue catalogue;
    writeFile(catalogue.listFile(), listXml({"A", "X", "C"}));
    for (const std::string key : {"A", "C"})
      writeFile(catalogue.libraryFile(key), fileXml(libraryXml(key, h)));
    if (!c.file.empty()) writeFile(catalogue.libraryFile("X"), c.file);
    const auto path = c.text.find('%');
    if (path != std::string::npos) c.text.replace(path, 1, catalogue.libraryFile("X"));
    c.seen.insert(c.seen.begin(), "h:A@500");
    if (c.isDone) c.seen.push_back("h:C@500");
    EXPECT_EQ(seen(c.isDone), c.seen) << c.file;
    TqLibEmulator emulator;
    std::vector<SCSIUnitNoMap> devices;
    EXPECT_EQ(emulator.GetVirtualDeviceInfo("h", devices, "X"), c.isDone);
    EXPECT_EQ(emulator.getErrorCode(), c.code) << c.file;
    EXPECT_EQ(lastError(emulator), c.text);
    EXPECT_TRUE(catalogue.logged(c.text)) << catalogue.log();
  }
}

// A caller may pass a text that lies in the output.
TEST(DeviceQuery, NamesThatLieInTheOutputWork) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).drives(500, 40).build();
  TqLibEmulator emulator;
  std::vector<SCSIUnitNoMap> devices(1);
  devices[0].MAName = "hosta";
  devices[0].Model = "A";
  EXPECT_TRUE(emulator.GetVirtualDeviceInfo(devices[0].MAName, devices, devices[0].Model));
  EXPECT_EQ(devices.size(), 42U);
  devices.resize(1);
  devices.shrink_to_fit();
  EXPECT_TRUE(emulator.GetVirtualDeviceInfo(devices[0].MAName, devices));
  EXPECT_EQ(devices.size(), 42U);
  std::vector<LibElement> found{element(2, 1, "A")};
  EXPECT_TRUE(emulator.GetVirtualLibraryElements(found[0].barCode, found));
  EXPECT_EQ(found.size(), 42U);
  EXPECT_TRUE(emulator.SetVirtualLibraryElement("A", element(4, 507, "T1"), false));
  std::string text = "DRV0008";
  EXPECT_TRUE(emulator.GetCurrentVolume(text, text));
  EXPECT_EQ(text, "T1");
}

TEST(DeviceQuery, AFaultyListIsLoggedOnceByEachOperationThatReadsIt) {
  for (const std::string& list : {listXml({"a/b"}), std::string("<LibraryList>")}) {
    TempCatalogue catalogue;
    writeFile(catalogue.listFile(), list);
    const bool isParsable = list.ends_with("</LibraryList>");
    std::vector<SCSIUnitNoMap> devices;
    std::string barCode = "old";
    const std::function<bool(TqLibEmulator&)> operations[] = {
        [&](TqLibEmulator& e) { return e.RemoveVirtualDevice("", "D1"); },
        [&](TqLibEmulator& e) { return e.GetVirtualDeviceInfo("", devices); },
        [&](TqLibEmulator& e) { return e.GetCurrentVolume("D1", barCode); }};
    for (const auto& operation : operations) {
      TqLibEmulator emulator;
      const std::size_t before = catalogue.log().size();
      EXPECT_FALSE(operation(emulator));
      const std::string log = catalogue.log().substr(before);
      const bool isQuery = &operation != &operations[0];
      EXPECT_EQ(std::ranges::count(log, '\n'), isQuery && !isParsable ? 2 : 1) << log;  // the place
      EXPECT_EQ(emulator.getErrorCode(), isParsable ? 0 : 50005);
      EXPECT_NE(log.find(isParsable ? "a/b" : catalogue.listFile()), std::string::npos);
      EXPECT_NE(lastError(emulator), "");
    }
    EXPECT_EQ(barCode, "");
  }
}

std::string drive(const std::string& serial, const std::string& barCode) {
  return driveXml(serial, 500, barCode);
}

TEST(CurrentVolume, IsTheBarCodeOfTheFirstDriveOfThatSerialNumberInAnyListedLibrary) {
  TempCatalogue catalogue;
  writeFile(catalogue.listFile(), listXml({"", "Missing", "a/b", "Broken", "A", "B"}));
  writeFile(catalogue.libraryFile("Broken"), "<Devices>");
  writeFile(catalogue.libraryFile("A"),
            fileXml(libraryXml("A", drive("D1", "<BarCode>T1</BarCode>") + drive("D4", ""))));
  writeFile(catalogue.libraryFile("Unlisted"), fileXml(drive("D8", "<BarCode>T8</BarCode>")));
  std::string second = drive("D1", "<BarCode>T9</BarCode>") + drive("D2", "<BarCode>T2</BarCode>") +
                       drive("D3", "<BarCode><x/></BarCode>");
  for (std::size_t at = 0; (at = second.find("<Drive>", at)) != std::string::npos; ++at)
    second.insert(at + 6, " IsOccupied='false'");
  writeFile(catalogue.libraryFile("B"),
            fileXml(libraryXml("B", second) + drive("D5", "<BarCode>T5</BarCode>")));
  const struct {
    const char *serial, *barCode;
    bool isFound = true;
  } cases[] = {{"D1", "T1"}, {"D2", "T2"},      {"D3", ""},       {"D4", ""},
               {"D5", "T5"}, {"D8", "", false}, {"d1", "", false}};
  for (const auto& c : cases) {
    TqLibEmulator emulator;
    std::string barCode = "old";
    EXPECT_EQ(emulator.GetCurrentVolume(c.serial, barCode), c.isFound) << c.serial;
    EXPECT_EQ(barCode, c.barCode) << c.serial;
    EXPECT_EQ(lastError(emulator) == "Failed to read value for Source Element BarCode",
              c.serial == std::string("D3"));
    EXPECT_FALSE(catalogue.logged("Source Element"));
  }
}

}  // namespace
}  // namespace tests
