// Libraries created from a description, and exported as one.
#include <regex>

#include "ToolRun.h"

namespace tests {
namespace {

class Description : public ToolRun {
protected:
  /// Without the spellings that depend on the calls that wrote the file.
  std::string content(const std::string& library) const {
    const std::string text = readFile(libraryFile(library));
    return std::regex_replace(std::regex_replace(text, std::regex(" xmlns=\"\""), ""),
                              std::regex("></[A-Za-z]+>"), "/>");
  }
};

TEST_F(Description, ALibraryCreatedFromItsExportIsTheSame) {
  // Each drive has hosts, and an order of hosts, of its own; one drive has no place.
  writeFile(path("in.json"), R"(
      {"serial": "L", "vendor": "<&\"é", "firmware": " 1 ", "slots": 5, "hosts": ["a",
         {"name": "b", "path": "/dev/sg1", "port": "p", "bus": 1, "target": 2, "lun": 3}],
       "driveRange": {"count": 9, "base": 20}, "mailSlots": {"count": 2, "base": 1},
       "drives": [{"hosts": ["b", {"name": "a", "lun": 7}, "c"]},
                  {"serial": "U", "address": null, "hosts": ["c"]},
                  {"serial": "N", "number": 4, "deviceType": 0, "model": "VT"},
                  {"serial": "A", "address": 21}],
       "elements": [{"element": "shelf:9"}, {"element": "shelf:1", "barcode": "S1"},
                    {"element": "slot:1001", "barcode": "barcode"},
                    {"element": "drive:20", "barcode": "D"},
                    {"element": "slot:7", "occupied": true}]})");
  expectDone("library create --from in.json");
  const auto expectSame = [this] {
    expectDone("library export L out.json");
    const std::string before = content("L");
    expectDone("library remove L --purge --yes");
    expectDone("library create --from - <out.json");
    EXPECT_EQ(tqlib("library export L").out, readFile(path("out.json")));
    EXPECT_EQ(content("L"), before);
  };
  expectSame();
  for (const char* change :
       {"element remove L slot:1000", "element remove L slot:1003", "element remove L mail:1",
        "element set L slot:1003 --barcode B", "element set L mail:2000 --empty --new",
        "drive add L L2 --host g --number 5", "drive remove L N --host a"})
    expectDone(change);
  expectSame();
}

TEST_F(Description, OptionsAndADescriptionCreateTheSameLibraryUnderAnyName) {
  expectDone(
      "library create L --host h --port 1 --bus 2 --lun 3 --drive-serial A --drive-serial B "
      "--drive-base 7 --slots 3");
  const std::string bytes = readFile(libraryFile("L"));
  expectDone("library remove L --purge --yes");
  writeFile(path("in.json"), R"(
      {"format": 1, "serial": "OTHER", "hosts": [{"name": "h", "port": "1", "bus": 2, "lun": 3}],
       "driveRange": {"base": 7}, "drives": [{"serial": "A"}, {"serial": "B"}], "slots": 3})");
  expectDone("library create --from in.json L");
  EXPECT_EQ(readFile(libraryFile("L")), bytes);
  expectRefused(1, "library create --from in.json L", "exists already");
}

const std::pair<std::string, const char*> kMistakes[] = {
    // members behind serial number and host
    {R"("slots": )", "in.json: parse error at line 1, column"},
    {"\"vendor\": \"\xFF\"", "UTF-8"},
    {R"("hosts": [])", "hosts: the key appears twice"},
    {R"("format": 2)", "format: 2 is not supported"},
    {R"("drives": [{}, {"serail": "X"}])", "drives[1].serail: unknown key"},
    {R"("drives": [{"serial": 7}])", "drives[0].serial: expected a string"},
    {R"("drives": [{"hosts": ["H", "h"]}])", "drives[0].hosts[1].name: host h appears twice"},
    {R"("drives": [{"serial": "ab"}, {"serial": "AB"}])", "drives[1].serial: two drives"},
    {R"("drives": [{"serial": "a|b"}])", "drives[0].serial: a drive's serial number cannot"},
    {R"("drives": [{"address": 499}])", "drives[0].address: no drive can be at 499"},
    {R"("drives": [{"number": 2}, {"address": 501}])", "drive:501 and drive:501 have one"},
    {R"("driveRange": {"base": 2147483647}, "drives": 2)", "drive number 2 has no address"},
    {R"("slots": {"count": 200001})", "slots.count: 200001 is not from 0 to 200000"},
    {R"("slots": 18446744073709551615)", "slots: 18446744073709551615 is not from"},
    {R"("slots": {"count": 2, "base": 2147483647})", "slots: the addresses are too large"},
    {R"("slots": {"count": 2, "without": [1002]})", "slots.without[0]: it is not in the range"},
    {R"("model": "a\u0000b")", "model: the text has a control character"},
    {R"("elements": [{"element": "slot:1"}, {"element": "slot:1"}])", "slot:1 appears twice"},
    {R"("elements": [{"element": "slot:1", "barcode": "A"}, {"element": "shelf:1", "barcode": "A"}])",
     "elements: barcode A is in slot:1 and in shelf:1"},
    {R"("elements": [{"element": "slot:1", "barcode": "a/b"}])",
     "the barcode of slot:1: the name cannot be a file name"},
    {R"("elements": [{"element": "slot:1", "barcode": "O1"}])", "O1 is in slot:1001 of library O"},
    // The API refuses this one when the rest exists already.
    {R"("elements": [{"element": "shelf:1", "barcode": "a\uFFFF"}])", "cannot set the elements"},
};

TEST_F(Description, AMistakeIsReportedWithItsPlaceAndNothingIsCreated) {
  makeLibrary("O");
  expectDone("element set O slot:1001 --barcode O1");
  for (const auto& [members, reason] : kMistakes) {
    writeFile(path("in.json"), R"({"serial": "L", "hosts": ["h"], )" + members + "}");
    expectRefused(1, "library create --from in.json", reason);
  }
  writeFile(path("in.json"), "{}");
  expectRefused(1, "library create --from in.json", "serial: it is missing");
  expectRefused(2, "library create --from in.json --drives 2", "--drives excludes --from");
  expectRefused(2, "library create L", "--host");
  expectRefused(2, "library create L --host h --drives 2 --drive-serial A --drive-serial a",
                "--drive-serial: two drives");
  expectRefused(1, "library create --from absent", "absent");
  EXPECT_EQ(listed("libraries", {"library"}, "library list"), "O ");
}

TEST_F(Description, AResizeAddsAndRemovesSlotsAndNothingElse) {
  const std::string options = " --host a --drives 1 --vendor V --slot-base 1000 --mail-base 10";
  const auto made = [&](const std::string& sizes) {
    expectDone("library create L" + options + sizes);
    expectDone("element set L slot:1001 --barcode A");
    return content("L");
  };
  const std::string small = made(" --slots 3 --mail-slots 2");
  expectDone("library remove L --purge --yes");
  const std::string large = made(" --slots 5 --mail-slots 4");
  expectDone("library resize L --slots 3 --mail-slots 2");
  EXPECT_EQ(content("L"), small);
  expectDone("library resize L --mail-slots 4 --slots 5");
  EXPECT_EQ(content("L"), large);
  expectDone("element set L mail:20 --empty --new");
  const std::string before = content("L");
  expectRefused(1, "library resize L --slots 1 --mail-slots 1", "slot:1001 holds A");
  expectRefused(1, "library resize L --mail-slots 491",
                "the drives from 500 to 500 overlap the mail slots from 10 to 500");
  EXPECT_EQ(content("L"), before);
  expectDone("library resize L --mail-slots 11");  // one of them exists
  EXPECT_EQ(listed("elements", {"element"}, "elements L 'mail:18-30'"), "mail:18 mail:19 mail:20 ");
  expectRefused(2, "library resize L", "--slots");
}

}  // namespace
}  // namespace tests
