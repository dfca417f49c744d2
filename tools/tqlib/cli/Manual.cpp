// tqlib manual: the manual page tqlib(1). What the commands take comes from CLI11's tree of
// commands, so that the page is never out of date.
#include <regex>

#include <boost/algorithm/string/replace.hpp>

#include "cli/Commands.h"
#include "cli/Manual.h"

namespace {

// A backslash, a hyphen and a line that begins like a request mean something to troff.
std::string escaped(std::string text) {
  for (const auto& [meaningful, literal] : {std::pair(R"(\\)", R"(\e)"), std::pair("-", R"(\-)"),
                                            std::pair(R"((^|\n)([.']))", R"($1\&$2)")}) {
    text = std::regex_replace(text, std::regex(meaningful), literal);
  }
  return text;
}

std::string sectionsText(const CLI::App& group, const std::string& path) {
  std::string text;
  for (const CLI::App* command : commandsOf(group)) {
    const std::string name = path + " " + command->get_name();
    const std::string below = sectionsText(*command, name);
    text += below.empty()
                ? fmt::format(".SS {}\n.nf\n{}\n.fi\n", escaped(name), escaped(command->help()))
                : below;
  }
  return text;
}

void printManual(const NoOptions&, const Session& session) {
  std::string page = kManual;
  boost::replace_first(page, "@VERSION@", TQLIB_VERSION);
  boost::replace_first(page, "@OPTIONS@", escaped(session.app->help()));
  boost::replace_first(page, "@COMMANDS@\n", sectionsText(*session.app, "tqlib"));
  printResult(false, {}, page);
}

}  // namespace

void addManualCommand(CLI::App& app, Session& session) {
  addCommand(app, session, printManual,
             {"manual", "Print the manual page of this tool", "tqlib manual | man -l -", false});
}
