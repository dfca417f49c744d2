// Libraries created from a description, and exported as one.
#include <regex>

#include "ToolRun.h"

namespace {

namespace fs = std::filesystem;
using tests::readFile;
using tests::writeFile;

class Description : public tests::ToolRun {
protected:
  void SetUp() override { makeStore(); }

  Result create(const std::string& description, const std::string& options = "") const {
    writeFile(path("in.json"), description);
    return tqlib("library create --from in.json " + options);
  }
  /// Without the spellings that depend on the calls that wrote the file.
  std::string content(const std::string& library) const {
    const std::string text = readFile(libraryFile(library));
    return std::regex_replace(std::regex_replace(text, std::regex(" xmlns=\"\""), ""),
                              std::regex("></[A-Za-z]+>"), "/>");
  }
};

struct RoundTrip {
  const char* description;
  std::vector<const char*> changes;  // commands, without the library
};

TEST_F(Description, ALibraryCreatedFromItsExportIsTheSame) {
  const RoundTrip kCases[] = {
      {R"({"serial": "L", "hosts": ["h"]})", {}},
      {R"({"serial": "L", "vendor": "<&\"é", "model": "Model", "firmware": " 1 ", "slots": 3,
           "drives": 2, "mailSlots": {"count": 2, "base": 1}, "hosts": [
             {"name": "host-b", "path": "/dev/sg1", "port": "p", "bus": 1, "target": 2, "lun": 3},
             {"name": "host-a"}]})",
       {}},
      // Each drive has hosts, and an order of hosts, of its own; one drive has no place.
      {R"({"serial": "L", "hosts": ["a", "b"], "slots": 2, "driveRange": {"count": 9, "base": 20},
           "drives": [{"hosts": ["b", {"name": "a", "lun": 7}, "c"]},
                      {"serial": "U", "address": null, "hosts": ["c"]},
                      {"serial": "N", "number": 4, "deviceType": 0, "model": "VT"},
                      {"serial": "A", "address": 21}]})",
       {}},
      {R"({"serial": "L", "hosts": ["h"], "drives": 1, "slots": 2, "elements": [
             {"element": "shelf:9"}, {"element": "shelf:1", "barcode": "S1"},
             {"element": "slot:1001", "barcode": "barcode"}, {"element": "mail:5", "barcode": "M"},
             {"element": "drive:500", "barcode": "D"}, {"element": "slot:7", "occupied": true}]})",
       {}},
      {R"({"serial": "L", "hosts": ["h"], "drives": 2, "slots": 5, "mailSlots": 2})",
       {"element remove L slot:1001", "element remove L slot:1003", "element remove L mail:10",
        "element set L slot:1003 --barcode B", "element set L mail:2000 --empty",
        "element set L shelf:3 --barcode C", "drive add L L2 --host g --number 5",
        "drive add L LD2 --host g", "drive remove L LD1 --host h"}},
  };
  for (const RoundTrip& one : kCases) {
    const Result made = create(one.description);
    ASSERT_EQ(made.exitCode, 0) << one.description << made.err;
    for (const char* change : one.changes) expectDone(change);
    expectDone("library export L out.json");
    const std::string before = content("L");
    expectDone("library remove L --purge");
    expectDone("library create --from - <out.json");
    EXPECT_EQ(tqlib("library export L").out, readFile(path("out.json")));
    EXPECT_EQ(content("L"), before);
    const std::string bytes = readFile(libraryFile("L"));
    expectDone("library remove L --purge");
    expectDone("library create --from out.json");
    EXPECT_EQ(readFile(libraryFile("L")), bytes);
    expectDone("library remove L --purge");
  }
}

TEST_F(Description, OptionsAndADescriptionCreateTheSameLibraryUnderAnyName) {
  expectDone("library create L --host h --port 1 --bus 2 --lun 3 --drives 2 --slots 3");
  const std::string bytes = readFile(libraryFile("L"));
  expectDone("library remove L --purge");
  const std::string description = R"({"format": 1, "serial": "OTHER", "drives": 2, "slots": 3,
                                      "hosts": [{"name": "h", "port": "1", "bus": 2, "lun": 3}]})";
  EXPECT_EQ(create(description, "L").exitCode, 0);
  EXPECT_EQ(readFile(libraryFile("L")), bytes);
  expectRefused(1, "library create --from in.json L", "exists already");
}

TEST_F(Description, AMistakeIsReportedWithItsPlaceAndNothingIsCreated) {
  const struct {
    const char* members;  // behind a serial number and a host
    const char* reason;
  } kCases[] = {
      {R"("slots": )", "in.json: parse error at line 1, column"},
      {"\"vendor\": \"\xFF\"", "UTF-8"},
      {R"("drives": [{}, {"hosts": [{"lun": 1, "lun": 1}]}])",
       "drives[1].hosts[0].lun: the key appears twice"},
      {R"("format": 2)", "format: 2 is not supported"},
      {R"("drives": [{}, {"serail": "X"}])", "drives[1].serail: unknown key"},
      {R"("drives": [{"serial": 7}])", "drives[0].serial: expected a string"},
      {R"("drives": [{"hosts": [{"lun": 1.5}]}])", "drives[0].hosts[0].lun: expected an integer"},
      {R"("drives": [{"hosts": [{"path": "x"}]}])", "drives[0].hosts[0].name: the text is empty"},
      {R"("drives": [{"hosts": ["H", "h"]}])", "drives[0].hosts[1].name: host h appears twice"},
      {R"("drives": [{"serial": "ab"}, {"serial": "AB"}])", "drives[1].serial: two drives"},
      {R"("drives": [{"serial": "a|b"}])", "drives[0].serial: a drive's serial number cannot"},
      {R"("drives": [{"serial": "L"}])", "drives[0].serial: a drive cannot have the serial number"},
      {R"("drives": [{"deviceType": 8}])", "drives[0].deviceType"},
      {R"("drives": [{"address": 499}])", "drives[0].address: no drive can be at 499"},
      {R"("drives": [{"number": 1, "address": 501}])", "drives[0].address: it is not that"},
      {R"("drives": [{"number": 2}, {"address": 501}])",
       "drive:501 and drive:501 have one address"},
      {R"("driveRange": {"base": 2147483647}, "drives": 2)",
       "driveRange.base: drive number 2 has no address"},
      {R"("drives": true)", "drives: expected a list"},
      {R"("slots": {"count": 200001})", "slots.count: 200001 is not from 0 to 200000"},
      {R"("slots": 18446744073709551615)", "slots: 18446744073709551615 is not from"},
      {R"("slots": {"count": 2, "base": 2147483647})", "slots: the addresses are too large"},
      {R"("slots": 2, "mailSlots": {"count": 9, "base": 993})",
       "slots and mailSlots: the addresses"},
      {R"("slots": {"count": 2, "without": [1002]})", "slots.without[0]: it is not in the range"},
      {R"("slots": {"count": 2, "without": [1001, 1001]})", "slots.without[1]: it appears twice"},
      {R"("model": "a\u0000b")", "model: the text has a control character"},
      {R"("elements": [{"element": "slot:x"}])", "elements[0].element: not an element"},
      {R"("elements": [{"element": "drive:500"}])", "elements[0].element: there is no drive:500"},
      {R"("elements": [{"element": "slot:1"}, {"element": "slot:1"}])",
       "elements[1].element: slot:1 appears twice"},
      {R"("elements": [{"element": "slot:1"}, {"element": "mail:1"}])",
       "elements: slot:1 and mail:1 have one address"},
      {R"("elements": [{"element": "slot:1", "barcode": "A"}, {"element": "shelf:1", "barcode": "A"}])",
       "elements: barcode A is in slot:1 and in shelf:1"},
      {R"("elements": [{"element": "slot:1", "barcode": "A", "occupied": false}])",
       "elements[0].barcode: the element is not occupied"},
      {R"("elements": [{"element": "slot:1", "occupied": "yes"}])",
       "elements[0].occupied: expected true"},
      {R"("elements": [{"element": "slot:1", "barcode": "a\u007f"}])", "the barcode of slot:1"},
      // The API refuses this one when the rest exists already.
      {R"("elements": [{"element": "shelf:1", "barcode": "a\uFFFF"}])", "cannot set the elements"},
  };
  for (const auto& one : kCases) {
    writeFile(path("in.json"),
              R"({"serial": "L", "hosts": ["h"], )" + std::string(one.members) + "}");
    expectRefused(1, "library create --from in.json", one.reason);
  }
  for (const auto& [text, reason] :
       {std::pair("[]", "expected an object"), std::pair("{}", "serial: it is missing"),
        std::pair(R"({"serial": "L"})", "hosts: expected at least one"),
        std::pair(R"({"serial": "a/b"})", "serial: the name cannot")}) {
    writeFile(path("in.json"), text);
    expectRefused(1, "library create --from in.json", reason);
  }
  expectRefused(2, "library create --from in.json --drives 2", "--drives excludes --from");
  expectRefused(2, "library create L", "--host");
  expectRefused(1, "library create --from absent", "absent");
  const fs::path list = path("store/LibEmulator/LibraryList.xml");
  EXPECT_FALSE(fs::exists(libraryFile("L")));
  EXPECT_EQ(readFile(list).find("Id="), std::string::npos) << readFile(list);
}

TEST_F(Description, AFailureLeavesNoPartialLibraryAndNoPartialFile) {
  const std::string description = R"({"serial": "L", "hosts": ["h"], "drives": 1, "elements": [
                                      {"element": "shelf:1", "barcode": "A"}]})";
  EXPECT_EQ(create(description).exitCode, 0);
  writeFile(path("old.json"), "old");
  letSavesFail();
  expectRefused(1, "library export L old.json", "cannot write old.json");
  EXPECT_EQ(readFile(path("old.json")), "old");
  writeFile(path("in.json"), description);
  expectRefused(1, "library create N --from in.json", "library N was not saved");
  EXPECT_FALSE(fs::exists(libraryFile("N")));

  std::string twice = readFile(libraryFile("L"));  // cannot be created again, so it is not exported
  const auto at = twice.find("<Shelf");
  const std::string shelf = twice.substr(at, twice.find("</Shelf>") + 8 - at);
  writeFile(libraryFile("L"), twice.insert(at, shelf));
  expectRefused(1, "library export L old.json", "shelf:1 and shelf:1 have one address");
  EXPECT_EQ(readFile(path("old.json")), "old");
}

}  // namespace
