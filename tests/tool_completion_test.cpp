// What the tool tells of itself: completion, the manual page, and errors for programs.
#include <gmock/gmock.h>

#include "ToolRun.h"

namespace {

using tests::ToolRun;

class ToolCompletion : public ToolRun {
protected:
  ToolCompletion() {
    makeStore();
    makeLibrary("LIB001");
    expectDone("element set LIB001 slot:1000 --barcode A00001");
    expectDone("volume write A00001 --mark 0 </dev/null");
  }
};

TEST_F(ToolCompletion, OffersWhatMayStandNext) {
  const struct {
    const char* line;
    const char* candidates;
  } kCases[] = {
      {"tqlib lib", "library\n"},
      {"tqlib --json lib", "library\n"},
      {"tqlib element ", "list\nmove\nremove\nset\n"},
      {"tqlib library show ", "LIB001\n"},
      {"tqlib --config store/tqlib.ini library show L", "LIB001\n"},
      {"tqlib library show M", ""},
      {"tqlib element move LIB001 ", "slot:1000\n"},
      {"tqlib element move LIB001 slot:1000 slot:", "slot:1001\nslot:1002\n"},
      {"tqlib drive remove LIB001 ", "LIB001D1\nLIB001D2\n"},
      {"tqlib drive remove LIB001 LIB001D1 --host ", "HOST1\n"},
      {"tqlib drive remove LIB001 LIB001D1 --ho", "--host\n"},
      {"tqlib device list ", "HOST1\n"},
      {"tqlib volume copy A", "A00001\n"},
      {"tqlib volume write A00001 ", ""},
      {"tqlib element list NONE slot:", ""},
      {"tqlib co", "completion\n"},
      {"tar -c . | tqlib volume copy A", "A00001\n"},
      {"tqlib --config=store/tqlib.ini 'element' list L", "LIB001\n"},
      {"tqlib drive remove LIB001 LIB001D1 --host=H", "HOST1\n"},
  };
  for (const auto& [line, candidates] : kCases) {
    const Result result = tqlib("complete \"" + std::string(line) + "\"");
    EXPECT_EQ(result.exitCode, 0) << line;
    EXPECT_EQ(result.out, candidates) << line;
  }
}

TEST_F(ToolCompletion, WorksInBash) {
  const std::string typed = "tqlib element move LIB001 slot:1000 slot:1001";
  tests::writeFile(path("type"), tqlib("completion bash").out +
                                     "tqlib() { '" TQLIB_BINARY
                                     "' \"$@\"; }\n"
                                     "COMP_LINE='" +
                                     typed + "' COMP_POINT=" + std::to_string(typed.size()) +
                                     "\n"
                                     "_tqlib tqlib && echo \"${COMPREPLY[*]}\"\n");
  tqlib("--version >/dev/null; TQ_PLATFORM_CONFIG=store/tqlib.ini bash type");
  EXPECT_EQ(tests::readFile(path("out")), "1001\n");
}

TEST_F(ToolCompletion, TheManualNamesEveryCommandWithItsExample) {
  const std::string manual = tqlib("manual").out;
  for (const char* part : {".TH TQLIB 1", "tqlib library create\\fR [\\fILIBRARY",
                           "tqlib element move LIB001 slot:1000",
                           "\\fB\\-\\-drive\\-base\\fR \\fIINT", "(default 500)"}) {
    EXPECT_NE(manual.find(part), std::string::npos) << part;
  }
  EXPECT_EQ(manual.find("tqlib complete"), std::string::npos);
}

TEST_F(ToolCompletion, ErrorsTellCodeTextAndNextStep) {
  const std::string command = "element move LIB001 slot:1001 drive:500";
  expectRefused(1, command, "error 40018, the source is empty");
  expectRefused(1, command, "\nnext: \"tqlib element list LIBRARY\"");
  expectRefused(1, "--json " + command, R"("code": 40018,)");
  expectRefused(1, "--json " + command, R"("next": "\"tqlib element list LIBRARY\" shows)");
}

// A terminal is what script(1) makes for the command.
TEST_F(ToolCompletion, ColoursAreForTerminalsAlone) {
  const struct {
    const char* environment;
    bool coloured;
  } kCases[] = {{"TERM=xterm", true}, {"TERM=xterm NO_COLOR=1", false}, {"TERM=dumb", false}};
  const std::string command = "'" TQLIB_BINARY "' library show NONE";
  for (const auto& [environment, coloured] : kCases) {
    tqlib("--version >/dev/null; env -u NO_COLOR TQ_PLATFORM_CONFIG=store/tqlib.ini " +
          std::string(environment) + " script -qc \"" + command + "\" /dev/null");
    const std::string shown = tests::readFile(path("out"));
    EXPECT_NE(shown.find("no such library"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("\033[") != std::string::npos, coloured) << environment;
  }
  EXPECT_EQ(tqlib("library show NONE").err.find('\033'), std::string::npos);
}

}  // namespace
