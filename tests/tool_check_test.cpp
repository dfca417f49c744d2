// What "tqlib check" finds, and what it fixes.
#include <fmt/format.h>

#include "ToolRun.h"

namespace tests {
namespace {

using namespace std::string_literals;

// Paths are those in the store.
const std::string kLibrary = "LibEmulator/Lib_LIB1.xml";
const std::string kOther = "LibEmulator/Lib_X.xml";
const std::string kList = "LibEmulator/LibraryList.xml";
const std::string kJournal = "LibEmulator/.tqlib-pending";
const std::string kTemporary = "LibEmulator/.tqlib-0123456789abcdef.new";
const std::string kVolumeCopy = "tapes/.tqlib-copy-1.new";

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

/// What a script does is found in `file`, at `element` of it.
struct Fault {
  const char* kind;
  std::string script;
  std::string file = kLibrary;
  const char* element = "";
};

class ToolCheck : public ToolRun {
protected:
  // A medium with its volume in slot:1000; drives 500 and 501, slots 1000 to 1002, mail 10 and 11.
  ToolCheck() {
    makeLibrary("LIB1");
    expectDone("element set LIB1 slot:1000 --barcode A1");
    expectDone("volume write A1 --new --mark 0 store/tqlib.ini");
    fs::copy(path("store"), path("sound"), fs::copy_options::recursive);
  }

  std::string stored(const std::string& name) const { return path("store/" + name).string(); }

  /// Runs a script in the store.
  void sh(const std::string& script) const {
    EXPECT_EQ(run("(cd store && " + script + ")").exitCode, 0) << script;
  }
  void restore() const {
    fs::remove_all(path("store"));
    fs::copy(path("sound"), path("store"), fs::copy_options::recursive);
  }

  std::map<std::string, std::string> everything() const { return treeOf(path("store")); }
  void expectClean() const {
    EXPECT_EQ(tqlib("check").out,
              "0 errors, 0 warnings; 1 library, 7 elements and 1 volume checked\n");
  }
  std::string kinds() const { return listed("findings", {"kind"}, "check"); }
};

// A list that was saved once more: its first save has the attributes in another order.
TEST_F(ToolCheck, FixesWhatHasOneRightAnswerAndWritesFilesAsTheApiDoes) {
  makeLibrary("LIB2");
  const auto before = everything();
  const std::string half = ".tqlib-0000000000000000.new";
  sh(kEmptied + " && " + inLibrary("\"false\" Name=\"Slot_1002", "\"no\" Name=\"Slot_1002"));
  sh("sed -i /LIB2/d " + kList + " && " + inList("<Library Id=\"LIB1\"/>"));
  sh(write(kJournal, half + "\\0LibraryList.xml\\0"));
  sh("touch " + kTemporary + " tapes/" + half + " && mkdir -p " + kVolumeCopy + "/x");
  EXPECT_EQ(kinds(),
            "doubled-entry file-without-entry occupancy occupancy half-saved left-over left-over "
            "left-over ");
  const auto copies = ask("check --fix")["copies"];
  for (const std::string copy : copies) fs::remove(copy);
  EXPECT_EQ(copies.size(), 2);
  EXPECT_EQ(everything(), before);
}

const Fault kNotFixed[] = {
    {"unparsable-file", write(kLibrary, "<Devices><Library>")},
    {"unparsable-file", "mkfifo " + kOther, kOther},
    {"unparsable-file", kPrepare + "mkdir " + kJournal, kJournal},
    {"unparsable-file", "sed -i s,/tapes,/gone, tqlib.ini", "gone"},
    {"entry-without-file", inList("<Library Id=\"LIB2\"><x/></Library>"), kList, "LIB2"},
    {"bad-entry", inList("<Library Id=\"../LIB1\"/>"), kList, "../LIB1"},
    {"library-identity", inLibrary("</Devices>", "<Library/></Devices>")},
    {"library-identity", "sed s/LIB1D/X/ " + kLibrary + " >" + kOther, kOther},
    {"drive-identity", inLibrary(">LIB1D2<", ">lib1d1<"), kLibrary, "drive:501"},
    {"unplaced-drive", inLibrary(">501<", ">-999999<"), kLibrary, "drive:-999999"},
    {"bad-address", inLibrary(">1002<", ">x2<"), kLibrary, "slot:? (Slot_1002)"},
    {"doubled-address", inLibrary(">1002<", ">500<"), kLibrary, "slot:500"},
    {"address-out-of-range", inLibrary(">1002<", "> 1003 or so<"), kLibrary, "slot:1003"},
    {"doubled-barcode", kShelfWithA1, kLibrary, "shelf:1"},
    {"occupancy", kEmptied + " && " + kShelfWithA1, kLibrary, "slot:1000"},
    {"expired-status", inLibrary("</Library>", "<ScsiStatus ExpireTime=\"1\"/>&")},
    {"medium-without-volume", "rm -r tapes/A1", kLibrary, "slot:1000"},
    {"volume-without-medium", "mkdir tapes/B1", "tapes/B1"},
    {"volume-over-limit", "truncate -s 1048577 tapes/A1/00000000", "tapes/A1"},
    {"mark-gap", write("tapes/A1/00000002", ""), "tapes/A1"},
    {"checksums-without-volume", "touch tapes/B1.sha256", "tapes/B1.sha256"},
    {"checksums-without-volume", "mkdir tapes/B1 && touch tapes/B1.sha256", "tapes/B1.sha256"},
    {"block-lengths-without-volume", "touch tapes/B1.blocks", "tapes/B1.blocks"},
    {"half-saved",
     kPrepare + write(kJournal, ".tqlib-0123456789abcdef.new\\0../LibraryList.xml\\0"), kJournal},
};

TEST_F(ToolCheck, LeavesWhatHasNoRightAnswer) {
  for (const Fault& fault : kNotFixed) {
    SCOPED_TRACE(fault.script);
    sh(fault.script);
    const auto before = everything();
    EXPECT_THAT(
        listed("findings", {"kind", "file", "element", "fixable"}, "check"),
        HasSubstr(fmt::format("{}/{}/{}/false ", fault.kind, stored(fault.file), fault.element)));
    EXPECT_EQ(tqlib("check --fix --strict").exitCode, 1);
    EXPECT_EQ(everything(), before);
    restore();
  }
  fs::remove_all(stored("LibEmulator"));
  expectRefused(1, "check", "no catalogue");
  EXPECT_FALSE(fs::exists(stored("LibEmulator")));
}

TEST_F(ToolCheck, FixKeepsACopyAndWhatItDoesNotKnow) {
  const std::string list = stored(kList);
  sh("sed -i 's|<LibraryList|<!-- mine --><LibraryList owner=\"me\"|' " + kList);
  sh(inList("<Library Id=\"GONE\"/>\\&lt;"));
  fs::permissions(list, fs::perms(0640));
  const std::string before = readFile(list);
  const std::string copy = ask("check --fix --yes")["findings"][0]["copy"];
  EXPECT_TRUE(copy.starts_with(list + ".before-fix-"));
  EXPECT_EQ(readFile(copy), before);
  const std::string fixed = readFile(list);
  for (const char* kept : {"<!-- mine -->", "owner=\"me\"", "&lt;", "Id=\"LIB1\""})
    EXPECT_THAT(fixed, HasSubstr(kept));
  EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0640));
  expectClean();
}

TEST_F(ToolCheck, AdvisesNoDeletionWhileALibraryCannotBeRead) {
  for (const std::string& script : {inList("<Library Id=\"GONE\"/>"), write(kList, "<LibraryList>"),
                                    inLibrary("<Library ", "<Other "), write(kLibrary, "")}) {
    sh("mkdir tapes/B1 && " + script);
    const Result result = tqlib("check");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.out, HasSubstr("fix the libraries that cannot be read first"));
    EXPECT_THAT(result.out, Not(HasSubstr("volume remove")));
    restore();
  }
  sh("mkdir tapes/B1 && " + inList("<Library Id=\"GONE\"/>"));  // a fix takes the obstacle away
  EXPECT_NE(tqlib("check --fix").out.find("volume remove"), std::string::npos);
}

TEST_F(ToolCheck, CountsTheMediaOnTheShelvesOfARemovedLibrary) {
  writeFile(stored(kOther),
            "<Devices><Shelf><BaseAddress>1</BaseAddress><BarCode>B1</BarCode></Shelf></Devices>");
  fs::create_directory(stored("tapes/B1"));
  EXPECT_EQ(kinds(), "removed-library ");
}

TEST_F(ToolCheck, ReportsAndDeletesNothingThatIsLocked) {
  sh("touch " + kTemporary);
  const std::string found = run("flock store/LibEmulator '" TQLIB_BINARY "' check --json").out;
  EXPECT_THAT(found, HasSubstr("locked-catalogue"));
  EXPECT_THAT(found, Not(HasSubstr("left-over")));
  sh("mkdir " + kVolumeCopy + " tapes/B1 && touch tapes/B1.sha256");  // a copy that runs
  const Result copying = run("flock store/tapes/B1 '" TQLIB_BINARY "' check");
  EXPECT_THAT(copying.out, Not(HasSubstr("checksums")));
  sh("rm -r tapes/B1*");
  const std::string locked = "flock store/" + kVolumeCopy;
  EXPECT_EQ(run(locked + " '" TQLIB_BINARY "' check --fix").exitCode, 0);
  EXPECT_TRUE(fs::exists(stored(kVolumeCopy)));
  sh(inLibrary(">A1<", ">.tqlib-copy-1.new<"));  // it is a volume then
  tqlib("check --fix");
  EXPECT_TRUE(fs::exists(stored(kVolumeCopy)));
}

TEST_F(ToolCheck, SaysOnAPageWhatNeedsDoing) {
  sh("rm -r tapes/A1");
  EXPECT_EQ(tqlib("check").out,
            "notes: 1 medium-without-volume; --notes lists them\n"
            "0 errors, 0 warnings; 1 library, 7 elements and 0 volumes checked\n");
  EXPECT_EQ(tqlib("check --notes").out.find("note: medium-without-volume\n  slot:1000 of "), 0);
  EXPECT_EQ(tqlib("check").exitCode, 0);
  EXPECT_EQ(tqlib("check --strict").exitCode, 1);
  sh("seq -w 12 | sed \"s,.*,tapes/it's &,\" | tr '\\n' '\\0' | xargs -0 mkdir && " + kEmptied);
  const Result result = tqlib("check");
  EXPECT_EQ(result.exitCode, 1);
  for (const char* part :
       {"error: occupancy\n  slot:1000 of library LIB1: it is empty, but has the barcode A1\n"
        "  next: \"tqlib check --fix\" makes it full\nwarning: volume-without-medium\n",
        "/it's 10: no library has a medium of that barcode\n  and 2 more; --json lists them all\n"
        "  next: \"tqlib element set LIB1 slot:1001 --barcode 'it'\\''s 01'\" puts the medium ",
        "; likewise for the others\nnotes: 1 medium-without-volume; --notes lists them\n1 error, "
        "12"})
    EXPECT_THAT(result.out, HasSubstr(part));
}

TEST_F(ToolCheck, ChecksAndFixesOneLibraryButComparesItWithAllOthers) {
  sh("sed s/LIB1/LIB2/g " + kLibrary + " | sed 's|>1002<|>1003<|' >LibEmulator/Lib_LIB2.xml");
  sh("mkdir tapes/B1 && touch " + kTemporary);
  for (const auto& [library, kinds] :
       {std::pair{"LIB1"s, "doubled-barcode "},
        {"LIB2"s, "doubled-barcode file-without-entry address-out-of-range "}}) {
    const std::string command = "check " + library;
    EXPECT_EQ(listed("findings", {"kind"}, command), kinds);
    EXPECT_EQ(ask(command)["findings"][0]["file"], stored("LibEmulator/Lib_" + library + ".xml"));
    EXPECT_EQ(ask(command)["checked"].dump(), R"({"elements":7,"libraries":1,"volumes":1})");
  }
  const auto before = everything();
  tqlib("check LIB1 --fix");
  EXPECT_EQ(everything(), before);
  tqlib("check LIB2 --fix");
  EXPECT_EQ(listed("libraries", {"library", "state"}, "library list"), "LIB1/ok LIB2/ok ");
  expectRefused(1, "check LIB3", "no such library: LIB3");
}

TEST_F(ToolCheck, ReportsAFailedFixAndLeavesNothingBehind) {
  sh(kEmptied);
  const auto before = everything();
  letSavesFail();
  const Result result = tqlib("check --fix");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.out, HasSubstr("error: occupancy\n  slot:1000 of library LIB1: "));
  EXPECT_THAT(result.out, HasSubstr("\nfailed: "));
  EXPECT_EQ(everything(), before);
}

TEST_F(ToolCheck, AsksOnATerminalAndFixesNothingAfterNo) {
  sh(kEmptied);
  for (const std::string answer : {"n", "y"}) {
    const Result result =
        run("echo " + answer + " | script -qec '" TQLIB_BINARY " check --fix' typescript");
    EXPECT_EQ(result.exitCode, answer == "y" ? 0 : 1);
    EXPECT_THAT(result.out, HasSubstr("fix 1 finding? [y/N]"));
  }
  expectClean();
}

}  // namespace
}  // namespace tests
