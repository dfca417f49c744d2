// What "tqlib check" finds, and what it fixes.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>

#include "ToolRun.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using tests::readFile;
using tests::writeFile;

// Paths are those in the store.
const std::string kLibrary = "LibEmulator/Lib_LIB1.xml";
const std::string kOther = "LibEmulator/Lib_X.xml";
const std::string kList = "LibEmulator/LibraryList.xml";
const std::string kJournal = "LibEmulator/.tqlib-pending";
const std::string kTemporaryName = ".tqlib-0123456789abcdef.new";
const std::string kTemporary = "LibEmulator/" + kTemporaryName;
const std::string kVolumesTemporary = "tapes/" + kTemporaryName;
const std::string kDead = "2147483646";  // more than any process is numbered
const std::string kStandIn = "LibEmulator/Lib_.tqlib-stand-in-" + kDead + ".xml";
const std::string kHalfCopy = "LibEmulator/LibraryList.xml.before-fix-1.tqlib-" + kDead;
const std::string kVolumeCopy = "tapes/.tqlib-copy-" + kDead;
const std::string kHalfChecksums = "tapes/A1.sha256.tqlib-" + kDead;

std::string write(const std::string& file, const std::string& text) {
  return "printf '" + text + "' >" + file;
}
std::string inLibrary(const std::string& from, const std::string& to) {
  return "sed -i 's|" + from + "|" + to + "|' " + kLibrary;
}
std::string inList(const std::string& added) {
  return "sed -i 's|</LibraryList>|" + added + "&|' " + kList;
}
// A temporary file may be all that is left of what a journal names.
const std::string kPrepare = "touch " + kTemporary + " && ";
const std::string kShelfWithA1 =
    inLibrary("</Devices>",
              "<Shelf Name=\"Shelf_1\"><BaseAddress>1</BaseAddress><BarCode>A1</BarCode></Shelf>&");
const std::string kEmptied = inLibrary("IsOccupied=\"true\"", "IsOccupied=\"0\"");

class ToolCheck : public tests::ToolRun {
protected:
  // A medium with its volume in slot:1000; drives 500 and 501, slots 1000 to 1002, mail 10 and 11.
  void SetUp() override {
    makeStore();
    makeLibrary("LIB1");
    expectDone("element set LIB1 slot:1000 --barcode A1");
    expectDone("volume write A1 --mark 0 store/tqlib.ini");
  }

  std::string stored(const std::string& name) const { return path("store/" + name).string(); }

  /// Runs a script in the store.
  void sh(const std::string& script) const {
    EXPECT_EQ(std::system(("cd '" + stored("") + "' && " + script).c_str()), 0) << script;
  }

  /// Everything in the store, by name, with its bytes.
  std::map<std::string, std::string> everything() const {
    std::map<std::string, std::string> all;
    for (const auto& entry : fs::recursive_directory_iterator(path("store")))
      all[entry.path().string()] = entry.is_regular_file() ? readFile(entry.path()) : "";
    return all;
  }

  void expectClean() const {
    const Result result = tqlib("check");
    EXPECT_EQ(result.exitCode, 0) << result.out;
    EXPECT_EQ(result.out, "no findings; 1 library, 7 elements and 1 volume checked\n");
  }

  /// The kind of the only finding.
  std::string onlyFinding() const {
    const json findings = ask("check")["findings"];
    return findings.size() == 1 ? findings[0]["kind"].get<std::string>() : findings.dump();
  }
};

/// What a script does is found in `file`, at `element` of it.
struct Fault {
  const char* kind;
  std::string script;
  std::string file = kLibrary;
  const char* element = "";
};

const Fault kFixed[] = {
    {"entry-without-file", inList("<Library Id=\"LIB2\"/>"), kList, "LIB2"},
    {"file-without-entry", write(kList, "<LibraryList/>")},
    {"file-without-entry", "rm " + kList},
    {"doubled-entry", inList("<Library Id=\"LIB1\"/>"), kList, "LIB1"},
    {"occupancy", inLibrary("IsOccupied=\"true\"", "IsOccupied=\"fALSE\""), kLibrary, "slot:1000"},
    {"occupancy", inLibrary("\"false\" Name=\"Slot_1002", "\"no\" Name=\"Slot_1002"), kLibrary,
     "slot:1002"},
    {"half-saved", write(kJournal, kTemporaryName + "\\0LibraryList.xml\\0"), kJournal},
    {"left-over", write(kTemporary, ""), kTemporary},
    {"left-over", write(kStandIn, "<Devices/>"), kStandIn},
    {"left-over", write(kHalfCopy, ""), kHalfCopy},
    {"left-over", "mkdir -p " + kVolumeCopy + "/x", kVolumeCopy},
    {"left-over", write(kHalfChecksums, ""), kHalfChecksums},
    {"left-over", write(kVolumesTemporary, ""), kVolumesTemporary},
};

const Fault kNotFixed[] = {
    {"unparsable-file", write(kLibrary, "<Devices><Library>")},
    {"unparsable-file", "ln -sf gone " + kLibrary},
    {"unparsable-file", write(kList, "<LibraryList>"), kList},
    {"unparsable-file", "mkdir " + kOther, kOther},
    {"unparsable-file", "mkfifo " + kOther, kOther},
    {"unparsable-file", kPrepare + "mkdir " + kJournal, kJournal},
    {"unparsable-file", "sed -i s,/tapes,/gone, tqlib.ini", "gone"},
    {"entry-without-file", inList("<Library Id=\"LIB2\"><x/></Library>"), kList, "LIB2"},
    {"doubled-entry", inList("<Library Id=\"LIB1\"><x/></Library>"), kList, "LIB1"},
    {"bad-entry", inList("<Library/>"), kList},
    {"bad-entry", inList("<Library Id=\"../LIB1\"/>"), kList, "../LIB1"},
    {"removed-library", write(kOther, "<Devices/>"), kOther},
    {"library-identity", inLibrary("Name=\"Lib_LIB1\"", "Name=\"Lib_2\"")},
    {"library-identity", inLibrary(">LIB1<", "><")},
    {"library-identity", inLibrary("</Devices>", "<Library/></Devices>")},
    {"library-identity", "sed s/LIB1D/X/ " + kLibrary + " >" + kOther, kOther},
    {"drive-identity", inLibrary("Drive_LIB1D1", "Drive_X"), kLibrary, "drive:500"},
    {"drive-identity", inLibrary(">LIB1D1<", "><"), kLibrary, "drive:500"},
    {"drive-identity", inLibrary(">LIB1D2<", ">lib1d1<"), kLibrary, "drive:501"},
    {"unplaced-drive", inLibrary(">501<", ">-999999<"), kLibrary, "drive:-999999"},
    {"bad-address", inLibrary("<BaseAddress[^>]*>1002</BaseAddress>", ""), kLibrary,
     "slot:? (Slot_1002)"},
    {"bad-address", inLibrary(">1002<", ">x2<"), kLibrary, "slot:? (Slot_1002)"},
    {"doubled-address", inLibrary(">1002<", ">500<"), kLibrary, "slot:500"},
    {"address-out-of-range", inLibrary(">1002<", "> 1003 or so<"), kLibrary, "slot:1003"},
    {"doubled-barcode", kShelfWithA1, kLibrary, "shelf:1"},
    {"occupancy", kEmptied + " && " + kShelfWithA1, kLibrary, "slot:1000"},
    {"occupancy", inLibrary(">A1<", "><!-- -->A1<"), kLibrary, "slot:1000"},
    {"expired-status", inLibrary("</Library>", "<ScsiStatus ExpireTime=\"1\"/>&")},
    {"medium-without-volume", "rm -r tapes/A1", kLibrary, "slot:1000"},
    {"volume-without-medium", "mkdir tapes/B1", "tapes/B1"},
    {"volume-over-limit", "truncate -s 1048577 tapes/A1/00000000", "tapes/A1"},
    {"mark-gap", write("tapes/A1/00000002", ""), "tapes/A1"},
    {"half-saved", kPrepare + write(kJournal, kTemporaryName + "\\0../LibraryList.xml\\0"),
     kJournal},
    {"half-saved", kPrepare + write(kJournal, ""), kJournal},
};

class ToolCheckOf : public ToolCheck, public testing::WithParamInterface<Fault> {
protected:
  /// Finds the fault without a trace.
  json foundFault() {
    const Fault& fault = GetParam();
    expectClean();
    sh(fault.script);
    const auto before = everything();
    const Result seen = tqlib("check --json");
    EXPECT_EQ(everything(), before);
    EXPECT_EQ(seen.exitCode, 1);
    const json findings = json::parse(seen.out)["findings"];
    for (const json& finding : findings)
      if (finding["kind"] == fault.kind && finding["element"] == fault.element &&
          finding["file"] == stored(fault.file))
        return finding;
    ADD_FAILURE() << seen.out << seen.err;
    return {};
  }
};
class ToolCheckFixes : public ToolCheckOf {};
class ToolCheckLeaves : public ToolCheckOf {};

TEST_P(ToolCheckFixes, WhatHasOneRightAnswer) {
  EXPECT_EQ(foundFault()["fixable"], true);
  expectDone("check --fix");
  expectClean();
}

TEST_P(ToolCheckLeaves, WhatHasNot) {
  EXPECT_EQ(foundFault()["fixable"], false);
  const auto before = everything();
  EXPECT_EQ(tqlib("check --fix").exitCode, 1);
  EXPECT_EQ(everything(), before);
}

std::string nameOf(const testing::TestParamInfo<Fault>& test) {
  std::string name = test.param.kind;
  std::ranges::replace(name, '-', '_');
  return name + "_" + std::to_string(test.index);
}
INSTANTIATE_TEST_SUITE_P(Faults, ToolCheckFixes, testing::ValuesIn(kFixed), nameOf);
INSTANTIATE_TEST_SUITE_P(Faults, ToolCheckLeaves, testing::ValuesIn(kNotFixed), nameOf);

TEST_F(ToolCheck, CreatesNoCatalogue) {
  fs::remove_all(stored("LibEmulator"));
  expectRefused(1, "check", "no catalogue");
  EXPECT_FALSE(fs::exists(stored("LibEmulator")));
}

TEST_F(ToolCheck, FixKeepsACopyAndWhatItDoesNotKnow) {
  const std::string list = stored(kList);
  sh("sed -i 's|<LibraryList|<!-- mine --><LibraryList owner=\"me\"|' " + kList);
  sh(inList("<Library Id=\"GONE\"/>\\&lt;"));
  fs::permissions(list, fs::perms(0640));
  fs::rename(list, path("elsewhere.xml"));
  fs::create_symlink(path("elsewhere.xml"), list);
  const std::string before = readFile(list);
  const json result = ask("check --fix --yes");
  const json finding = result["findings"][0];
  EXPECT_EQ(result["copies"], json::array({finding["copy"]}));
  EXPECT_EQ(finding["fixed"], true);
  const std::string copy = finding["copy"];
  EXPECT_TRUE(copy.starts_with(list + ".before-fix-"));
  EXPECT_EQ(readFile(copy), before);
  const std::string fixed = readFile(list);
  for (const char* kept : {"<!-- mine -->", "owner=\"me\"", "&lt;", "Id=\"LIB1\""})
    EXPECT_NE(fixed.find(kept), std::string::npos) << fixed;
  EXPECT_EQ(fixed.find("GONE"), std::string::npos);
  EXPECT_TRUE(fs::is_symlink(list));
  for (const std::string& file : {list, copy})
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640)) << file;
  expectClean();
}

// A list that was saved once more: its first save has the attributes in another order.
TEST_F(ToolCheck, WritesFilesAsTheApiDoes) {
  makeLibrary("LIB2");
  const auto before = everything();
  sh(kEmptied + " && " + inList("<Library Id=\"LIB1\"/>"));
  expectDone("check --fix");
  for (const std::string& file : {stored(kLibrary), stored(kList)})
    EXPECT_EQ(readFile(file), before.at(file));
}

TEST_F(ToolCheck, AdvisesNoDeletionWhileALibraryCannotBeRead) {
  const std::string kUnknown[] = {
      inList("<Library Id=\"GONE\"/>"),  inList("<Library/>"),
      write(kList, "<LibraryList>"),     inLibrary("</Devices>", "<Library/></Devices>"),
      inLibrary("<Library ", "<Other "), write(kLibrary, "")};
  fs::create_directory(stored("tapes/B1"));
  const auto sound = everything();
  for (const std::string& script : kUnknown) {
    sh(script);
    const Result result = tqlib("check");
    EXPECT_NE(result.out.find("fix the libraries that cannot be read first"), std::string::npos);
    EXPECT_EQ(result.out.find("delete the volume"), std::string::npos) << result.out;
    for (const std::string& name : {kList, kLibrary})
      writeFile(stored(name), sound.at(stored(name)));
  }
}

TEST_F(ToolCheck, CountsTheMediaOnTheShelvesOfARemovedLibrary) {
  writeFile(stored(kOther),
            "<Devices><Shelf><BaseAddress>1</BaseAddress><BarCode>B1</BarCode></Shelf></Devices>");
  fs::create_directory(stored("tapes/B1"));
  EXPECT_EQ(onlyFinding(), "removed-library");
  EXPECT_EQ(ask("check")["findings"][0]["next"], "move the barcodes elsewhere first, by hand");
}

TEST_F(ToolCheck, ReportsAndDeletesNothingThatIsLocked) {
  const auto lock = [&](const std::string& name) {
    const int folder = open(stored(name).c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(flock(folder, LOCK_EX), 0);
    return folder;
  };
  writeFile(stored(kTemporary), "");
  const int locked = lock("LibEmulator");
  EXPECT_EQ(onlyFinding(), "locked-catalogue");
  close(locked);
  // Nor what is no regular file, nor what another process writes.
  fs::create_directory(stored("LibEmulator/.tqlib-0.new"));
  fs::create_directory(stored(kVolumeCopy));
  writeFile(stored(kVolumesTemporary), "");
  const int locks[] = {lock(kVolumeCopy), lock(kVolumesTemporary)};
  expectDone("check --fix");
  for (const int open : locks) close(open);
  EXPECT_FALSE(fs::exists(stored(kTemporary)));
  for (const std::string& name : {kVolumeCopy, kVolumesTemporary})
    EXPECT_TRUE(fs::exists(stored(name))) << name;
}

TEST_F(ToolCheck, ReportsAFailedFixAndLeavesNothingBehind) {
  sh(kEmptied);
  const auto before = everything();
  letSavesFail();
  const Result result = tqlib("check --fix");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.out.find("not fixed: occupancy: slot:1000"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("failed: "), std::string::npos) << result.out;
  EXPECT_EQ(everything(), before);
}

TEST_F(ToolCheck, AsksOnATerminalAndFixesNothingAfterNo) {
  if (std::system("command -v script >/dev/null") != 0) GTEST_SKIP() << "script(1) is missing";
  sh(kEmptied);
  for (const std::string answer : {"n", "y"}) {
    const std::string typed = "cd '" + m_folder.path().string() + "' && echo " + answer +
                              " | TQ_PLATFORM_CONFIG=store/tqlib.ini script -qec '" TQLIB_BINARY
                              " check --fix' typescript >/dev/null";
    EXPECT_EQ(WEXITSTATUS(std::system(typed.c_str())), answer == "y" ? 0 : 1);
    EXPECT_NE(readFile(path("typescript")).find("Fix 1 of 1 findings?"), std::string::npos);
  }
  expectClean();
}

}  // namespace
