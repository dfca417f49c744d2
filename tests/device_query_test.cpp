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

}  // namespace
}  // namespace tests
