// What "tqlib check" finds, and what it mends.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include <nlohmann/json.hpp>

#include "ToolRun.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using tests::readFile;
using tests::writeFile;

class ToolCheck : public tests::ToolRun {
public:
  using ToolRun::expectDone;
  using ToolRun::path;

  std::string library() const { return catalogue("Lib_LIB1.xml"); }
  std::string list() const { return catalogue("LibraryList.xml"); }
  std::string catalogue(const std::string& name) const {
    return path("store/LibEmulator/" + name).string();
  }
  std::string tape(const std::string& name) const { return path("store/tapes/" + name).string(); }

  void replace(const std::string& file, const std::string& from, const std::string& to) const {
    std::string text = readFile(file);
    const std::size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    writeFile(file, text.replace(at, from.size(), to));
  }

  /// Everything in the store, by name, with its bytes.
  std::map<std::string, std::string> everything() const {
    std::map<std::string, std::string> all;
    for (const auto& entry : fs::recursive_directory_iterator(path("store")))
      all[entry.path().string()] = entry.is_regular_file() ? readFile(entry.path()) : "";
    return all;
  }

  // A medium with its volume in slot:1000; drives 500 and 501, slots 1000 to 1002, mail 10 and 11.
  void makeSoundStore() const {
    makeStore();
    makeLibrary("LIB1");
    expectDone("element set LIB1 slot:1000 --barcode A1");
    expectDone("volume write A1 --mark 0 store/tqlib.ini");
  }

  json check(const std::string& options = "") const {
    return json::parse(tqlib("check --json" + options).out);
  }
  void expectClean() const {
    const Result result = tqlib("check");
    EXPECT_EQ(result.exitCode, 0) << result.out;
    EXPECT_EQ(result.out, "no findings; 1 library, 7 elements and 1 volume checked\n");
  }
};

using Break = std::function<void(const ToolCheck&)>;
using File = std::function<std::string(const ToolCheck&)>;

struct Fault {
  const char* kind;
  const char* element;
  bool isMended;
  File file;
  Break breakIt;
};

const File kLibrary = [](const ToolCheck& t) { return t.library(); };
const File kList = [](const ToolCheck& t) { return t.list(); };

File inCatalogue(const std::string& name) {
  return [=](const ToolCheck& t) { return t.catalogue(name); };
}
const File kGone = [](const ToolCheck& t) { return t.path("store/gone").string(); };

File tape(const std::string& name) {
  return [=](const ToolCheck& t) { return t.tape(name); };
}
Break write(const File& file, const std::string& bytes) {
  return [=](const ToolCheck& t) { writeFile(file(t), bytes); };
}
Break replace(const File& file, const std::string& from, const std::string& to) {
  return [=](const ToolCheck& t) { t.replace(file(t), from, to); };
}
Break folder(const std::string& name) {
  return [=](const ToolCheck& t) { fs::create_directories(t.tape(name)); };
}
Break inLibrary(const std::string& from, const std::string& to) {
  return replace(kLibrary, from, to);
}
Break inList(const std::string& to) {
  return replace(kList, "</LibraryList>", to + "</LibraryList>");
}

const std::string kDead = "2147483646";  // more than any process is numbered
const std::string kSlot1002 = "<BaseAddress xmlns=\"\">1002</BaseAddress>";
const std::string kFull = "IsOccupied=\"true\"";
const std::string kAside = ".tqlib-0123456789abcdef.new";

const std::string kHalfCopy = "LibraryList.xml.before-fix-1.tqlib-" + kDead;
const File kPending = inCatalogue(".tqlib-pending");

// With a prepared file beside it, which may be all that is left of what was saved.
Break damagedNote(const std::string& bytes) {
  return [=](const ToolCheck& t) {
    writeFile(t.catalogue(kAside), "");
    writeFile(kPending(t), bytes);
  };
}

const Fault kFaults[] = {
    {"unparsable-file", "", false, kLibrary, write(kLibrary, "<Devices><Library>")},
    {"unparsable-file", "", false, kLibrary,
     write(kLibrary, "<!DOCTYPE D [<!ENTITY a 'a'>]><Devices>&a;</Devices>")},
    {"unparsable-file", "", false, kList, write(kList, "<LibraryList>")},
    {"unparsable-file", "", false, inCatalogue("Lib_X.xml"),
     [](const ToolCheck& t) { fs::create_directory(t.catalogue("Lib_X.xml")); }},
    {"unparsable-file", "", false, inCatalogue("Lib_X.xml"),
     [](const ToolCheck& t) { ASSERT_EQ(mkfifo(t.catalogue("Lib_X.xml").c_str(), 0600), 0); }},
    {"unparsable-file", "", false, inCatalogue("Lib_LIB1.xml"),
     [](const ToolCheck& t) {
       fs::remove(t.library());
       fs::create_symlink("gone", t.library());
     }},
    {"unparsable-file", "", false, kGone,
     [](const ToolCheck& t) { t.replace(t.path("store/tqlib.ini"), "/tapes", "/gone"); }},
    {"entry-without-file", "LIB2", true, kList, inList("<Library Id='LIB2'/>")},
    {"file-without-entry", "", true, kLibrary, write(kList, "<LibraryList/>")},
    {"file-without-entry", "", true, kLibrary, [](const ToolCheck& t) { fs::remove(t.list()); }},
    {"entry-without-file", "LIB2", false, kList, inList("<Library Id='LIB2'><x/></Library>")},
    {"doubled-entry", "LIB1", true, kList, inList("<Library Id='LIB1'/>")},
    {"doubled-entry", "LIB1", false, kList,
     inList("<Library Id='LIB1'><Library Id='LIB1'/></Library>")},
    {"bad-entry", "", false, kList, inList("<Library/>")},
    {"bad-entry", "../LIB1", false, kList, inList("<Library Id='../LIB1'/>")},
    {"removed-library", "", false, inCatalogue("Lib_X.xml"),
     write(inCatalogue("Lib_X.xml"), "<Devices/>")},
    {"library-identity", "", false, kLibrary, inLibrary("Name=\"Lib_LIB1\"", "Name=\"Lib_2\"")},
    {"library-identity", "", false, kLibrary, inLibrary(">LIB1<", "><")},
    {"library-identity", "", false, kLibrary, inLibrary("</Devices>", "<Library/></Devices>")},
    {"library-identity", "", false, inCatalogue("Lib_X.xml"),
     write(inCatalogue("Lib_X.xml"),
           "<Devices><Library Name='Lib_LIB1'><LibraryScsiDevice>"
           "<SerialNumber>X</SerialNumber></LibraryScsiDevice></Library>"
           "</Devices>")},
    {"drive-identity", "drive:500", false, kLibrary, inLibrary("Drive_LIB1D1", "Drive_X")},
    {"drive-identity", "drive:500", false, kLibrary, inLibrary(">LIB1D1<", "><")},
    {"drive-identity", "drive:501", false, kLibrary, inLibrary(">LIB1D2<", ">lib1d1<")},
    {"unplaced-drive", "drive:-999999", false, kLibrary, inLibrary(">501<", ">-999999<")},
    {"bad-address", "slot:? (Slot_1002)", false, kLibrary, inLibrary(kSlot1002, "")},
    {"bad-address", "slot:? (Slot_1002)", false, kLibrary, inLibrary(">1002<", ">x2<")},
    {"doubled-address", "slot:500", false, kLibrary, inLibrary(">1002<", ">500<")},
    {"address-out-of-range", "slot:1003", false, kLibrary, inLibrary(">1002<", "> 1003 or so<")},
    {"doubled-barcode", "shelf:1", false, kLibrary,
     [](const ToolCheck& t) { t.expectDone("element set LIB1 shelf:1 --barcode A1"); }},
    {"occupancy", "slot:1000", true, kLibrary, inLibrary(kFull, "IsOccupied=\"fALSE\"")},
    {"occupancy", "slot:1000", false, kLibrary, inLibrary(">A1<", "><!-- -->A1<")},
    {"occupancy", "slot:1002", true, kLibrary,
     inLibrary("\"false\" Name=\"Slot_1002\"", "\"no\" Name=\"Slot_1002\"")},
    {"expired-status", "", false, kLibrary,
     inLibrary("</Library>", "<ScsiStatus ExpireTime='1'/></Library>")},
    {"medium-without-volume", "slot:1000", false, kLibrary,
     [](const ToolCheck& t) { fs::remove_all(t.tape("A1")); }},
    {"volume-without-medium", "", false, tape("B1"), folder("B1")},
    {"volume-over-limit", "", false, tape("A1"),
     [](const ToolCheck& t) { fs::resize_file(t.tape("A1/00000000"), (1 << 20) + 1); }},
    {"mark-gap", "", false, tape("A1"), write(tape("A1/00000002"), "")},
    {"half-saved", "", true, kPending, write(kPending, kAside + '\0' + "LibraryList.xml" + '\0')},
    {"half-saved", "", false, kPending, damagedNote(kAside + '\0' + "../LibraryList.xml" + '\0')},
    {"half-saved", "", false, kPending, damagedNote("")},
    {"unparsable-file", "", false, kPending,
     [](const ToolCheck& t) {
       writeFile(t.catalogue(kAside), "");
       fs::create_directory(kPending(t));
     }},
    {"left-over", "", true, inCatalogue(kAside), write(inCatalogue(kAside), "")},
    {"left-over", "", true, inCatalogue("Lib_.tqlib-stand-in-" + kDead + ".xml"),
     write(inCatalogue("Lib_.tqlib-stand-in-" + kDead + ".xml"), "<Devices/>")},
    {"left-over", "", true, inCatalogue(kHalfCopy), write(inCatalogue(kHalfCopy), "")},
    {"left-over", "", true, tape(".tqlib-copy-" + kDead), folder(".tqlib-copy-" + kDead + "/x")},
    {"left-over", "", true, tape("A1.sha256.tqlib-" + kDead),
     write(tape("A1.sha256.tqlib-" + kDead), "")},
};

class ToolCheckOf : public ToolCheck, public testing::WithParamInterface<Fault> {};

TEST_P(ToolCheckOf, FindsTheFaultWithoutATraceAndMendsWhatHasOneRightAnswer) {
  const Fault& fault = GetParam();
  makeSoundStore();
  expectClean();
  fault.breakIt(*this);
  const auto before = everything();
  const Result seen = tqlib("check --json");
  EXPECT_EQ(everything(), before);
  EXPECT_EQ(seen.exitCode, 1);
  const json findings = json::parse(seen.out)["findings"];
  const auto found = std::find_if(findings.begin(), findings.end(), [&](const json& finding) {
    return finding["kind"] == fault.kind && finding["element"] == fault.element &&
           finding["file"] == fault.file(*this);
  });
  ASSERT_NE(found, findings.end()) << seen.out << seen.err;
  EXPECT_EQ((*found)["fixable"], fault.isMended);

  const Result mended = tqlib("check --fix");
  EXPECT_EQ(mended.exitCode, fault.isMended ? 0 : 1) << mended.out << mended.err;
  if (fault.isMended) {
    expectClean();
  } else {
    EXPECT_EQ(everything(), before);
  }
}

INSTANTIATE_TEST_SUITE_P(Faults, ToolCheckOf, testing::ValuesIn(kFaults), [](const auto& test) {
  std::string name = test.param.kind;
  std::replace(name.begin(), name.end(), '-', '_');
  return name + "_" + std::to_string(test.index);
});

TEST_F(ToolCheck, MakesNoCatalogueWhereThereIsNone) {
  makeSoundStore();
  fs::remove_all(path("store/LibEmulator"));
  expectRefused(1, "check", "no catalogue");
  EXPECT_FALSE(fs::exists(path("store/LibEmulator")));
}

TEST_F(ToolCheck, MendingKeepsACopyAndWhatItDoesNotKnow) {
  makeSoundStore();
  replace(list(), "<LibraryList", "<!-- mine --><LibraryList owner=\"me\"");
  replace(list(), "</LibraryList>", "<Library Id='GONE'/>&lt;</LibraryList>");
  fs::permissions(list(), fs::perms(0640));
  fs::rename(list(), path("elsewhere.xml"));
  fs::create_symlink(path("elsewhere.xml"), list());
  const std::string before = readFile(list());
  const json result = check(" --fix --yes");
  const json finding = result["findings"][0];
  EXPECT_EQ(result["copies"], json::array({finding["copy"]}));
  EXPECT_EQ(finding["fixed"], true);
  const std::string copy = finding["copy"];
  EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0640));
  EXPECT_EQ(copy.rfind(list() + ".before-fix-", 0), 0U);
  EXPECT_EQ(readFile(copy), before);
  for (const char* kept : {"<!-- mine -->", "owner=\"me\"", "&lt;", "Id=\"LIB1\""})
    EXPECT_NE(readFile(list()).find(kept), std::string::npos) << readFile(list());
  EXPECT_EQ(readFile(list()).find("GONE"), std::string::npos);
  EXPECT_TRUE(fs::is_symlink(list()));
  EXPECT_EQ(fs::status(list()).permissions(), fs::perms(0640));
  expectClean();
}

// A list that was saved once more: its first save has the attributes in another order.
TEST_F(ToolCheck, WritesFilesAsTheLibraryDoes) {
  makeSoundStore();
  makeLibrary("LIB2");
  const auto before = everything();
  replace(library(), kFull, "IsOccupied=\"0\"");
  replace(list(), "</LibraryList>", "<Library Id='LIB1'/></LibraryList>");
  expectDone("check --fix");
  EXPECT_EQ(readFile(library()), before.at(library()));
  EXPECT_EQ(readFile(list()), before.at(list()));
}

TEST_F(ToolCheck, DeletesNoVolumeOfALibraryThatItDoesNotKnow) {
  const Break kUnknown[] = {
      inList("<Library Id='GONE'/>"),    inList("<Library/>"),
      write(kList, "<LibraryList>"),     inLibrary("</Devices>", "<Library/></Devices>"),
      inLibrary("<Library ", "<Other "), [](const ToolCheck& t) { writeFile(t.library(), ""); }};
  makeSoundStore();
  fs::create_directory(tape("B1"));
  const std::string soundList = readFile(list());
  const std::string soundLibrary = readFile(library());
  for (const Break& breakIt : kUnknown) {
    breakIt(*this);
    const Result result = tqlib("check");
    EXPECT_NE(result.out.find("mend the libraries that cannot be read first"), std::string::npos);
    EXPECT_EQ(result.out.find("delete the volume"), std::string::npos) << result.out;
    writeFile(list(), soundList);
    writeFile(library(), soundLibrary);
  }
}

TEST_F(ToolCheck, CountsTheMediaOnTheShelvesOfARemovedLibrary) {
  makeSoundStore();
  writeFile(catalogue("Lib_X.xml"),
            "<Devices><Shelf><BaseAddress>1</BaseAddress><BarCode>B1</BarCode></Shelf></Devices>");
  fs::create_directory(tape("B1"));
  const json findings = check()["findings"];
  ASSERT_EQ(findings.size(), 1U) << findings;
  EXPECT_EQ(findings[0]["kind"], "removed-library");
  EXPECT_EQ(findings[0]["next"], "move the barcodes elsewhere first, by hand");
}

TEST_F(ToolCheck, TellsWhoeverKeepsTheLockAndJudgesNothingThatItHides) {
  makeSoundStore();
  writeFile(catalogue(kAside), "");
  const int folder = open(catalogue("").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(folder, LOCK_EX), 0);
  const json findings = check()["findings"];
  close(folder);
  ASSERT_EQ(findings.size(), 1U) << findings;
  EXPECT_EQ(findings[0]["kind"], "locked-catalogue");
}

TEST_F(ToolCheck, DeletesPlainFilesOnlyAndNoCopyThatIsBuilt) {
  makeSoundStore();
  fs::create_directory(catalogue(".tqlib-0.new"));
  fs::create_directory(tape(".tqlib-copy-" + kDead));
  writeFile(catalogue(kAside), "");
  const int folder = open(tape(".tqlib-copy-" + kDead).c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(folder, LOCK_EX), 0);
  expectDone("check --fix");
  close(folder);
  EXPECT_FALSE(fs::exists(catalogue(kAside)));
  EXPECT_TRUE(fs::exists(tape(".tqlib-copy-" + kDead)));
}

TEST_F(ToolCheck, MendsNothingThatABarcodeInTwoPlacesLeavesOpen) {
  makeSoundStore();
  replace(library(), kFull, "IsOccupied=\"0\"");
  expectDone("element set LIB1 slot:1001 --barcode A1");
  const auto before = everything();
  EXPECT_EQ(tqlib("check --fix").exitCode, 1);
  EXPECT_EQ(everything(), before);
}

TEST_F(ToolCheck, AMendingThatFailsIsToldAndLeavesNothingBehind) {
  makeSoundStore();
  replace(library(), kFull, "IsOccupied=\"0\"");
  const auto before = everything();
  letSavesFail();
  const Result result = tqlib("check --fix");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.out.find("not mended: occupancy: slot:1000"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("failed: "), std::string::npos) << result.out;
  EXPECT_EQ(everything(), before);
}

TEST_F(ToolCheck, AsksOnATerminalAndTakesNoForNo) {
  if (std::system("command -v script >/dev/null") != 0) GTEST_SKIP() << "there is no script(1)";
  makeSoundStore();
  replace(library(), kFull, "IsOccupied=\"0\"");
  for (const std::string answer : {"n", "y"}) {
    const std::string typed = "cd '" + m_folder.path().string() + "' && echo " + answer +
                              " | TQ_PLATFORM_CONFIG=store/tqlib.ini script -qec '" TQLIB_BINARY
                              " check --fix' typescript >/dev/null";
    EXPECT_EQ(WEXITSTATUS(std::system(typed.c_str())), answer == "y" ? 0 : 1);
    EXPECT_NE(readFile(path("typescript")).find("Mend 1 of 1 findings?"), std::string::npos);
  }
  expectClean();
}

}  // namespace
