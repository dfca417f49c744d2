// tqlib manual: the manual page tqlib(1), made from CLI11's tree of commands, so that it is never
// out of date.
#include <regex>

#include "cli/Commands.h"

namespace {

constexpr char kHead[] = R"(.SH NAME
tqlib \- virtual tape libraries: their catalogue and their volumes
.SH SYNOPSIS
\fBtqlib\fR [\fIoptions\fR] \fInoun verb\fR [\fIarguments\fR]
.SH DESCRIPTION
The catalogue holds libraries: medium changers with drives, storage slots, import/export slots and
shelves, and the hosts that see them. The data of each medium is in a volume, a folder that has the
name of the barcode. A command is a noun and a verb, then the library, then its elements, written
\fBslot:\fRN, \fBmail:\fRN, \fBdrive:\fRN and \fBshelf:\fRN with N the element address.
.PP
An emulator may work on the same catalogue at the same time: each waits for the other's changes.
)";

constexpr char kTail[] = R"(.SH EXIT STATUS
.TP
.B 0
Done; for \fBcheck\fR: nothing was found.
.TP
.B 1
Refused or failed. A refusal changes nothing; after a volume write that failed, what was written
stays; for \fBcheck\fR: something was found.
.TP
.B 2
Wrong usage; nothing was changed.
.PP
A command that is interrupted ends by the signal.
.SH OUTPUT
With \fB\-\-json\fR each command prints one JSON object. A failure is one on standard error, with
code, text and next step; wrong usage is reported as text. Later versions only add keys.
\fI/usr/share/doc/tqlib/json.md\fR shows that of each command. Only terminals show colours.
.SH ENVIRONMENT
.TP
.B TQ_PLATFORM_CONFIG
The configuration file.
.TP
.B TQ_PLATFORM_LOG
The file for the log, else standard error.
.TP
.B NO_COLOR
If it is not empty, no colours are used.
.TP
.B COLUMNS
The width of pictures if standard output is not a terminal.
.SH FILES
.TP
.I /etc/tqlib.ini
The configuration when neither \fB\-\-config\fR nor the environment names one:
\fBsVirtualLibXMLDirectory\fR (the catalogue is in its folder LibEmulator),
\fBsVirtualTapeDirectory\fR and \fBnVirtualTapeSizeMB\fR in the section \fB[MediaManager]\fR.
.SH SEE ALSO
.BR tqlib\-catalogue (5))";

// A backslash, a hyphen and a line that begins like a request mean something to troff.
std::string escaped(std::string text) {
  for (const auto& [meaningful, literal] : {std::pair(R"(\\)", R"(\e)"), std::pair("-", R"(\-)"),
                                            std::pair(R"((^|\n)([.']))", R"($1\&$2)")}) {
    text = std::regex_replace(text, std::regex(meaningful), literal);
  }
  return text;
}

std::string optionsText(const CLI::App& app) {
  std::string text;
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_group().empty() || option->get_name() == "--help") continue;
    text += fmt::format(".TP\n\\fB{}\\fR", escaped(option->get_name(false, true)));
    if (option->get_expected_max() > 0 && !option->get_positional()) {
      const std::string type = option->get_type_name();
      text += fmt::format(" \\fI{}\\fR", escaped(type.substr(0, type.find(':'))));
    }
    if (option->get_required() && !option->get_positional()) text += " (required)";
    text += "\n" + escaped(option->get_description());
    const std::string value = option->get_default_str();
    text += value.empty() ? "\n" : fmt::format(" (default {})\n", escaped(value));
  }
  return text;
}

std::string commandsText(const CLI::App& group, const std::string& path) {
  std::string text;
  for (const CLI::App* command : commandsOf(group)) {
    const std::string name = path + " " + command->get_name();
    const std::string below = commandsText(*command, name);
    text += below;
    if (!below.empty()) continue;
    text += fmt::format(".SS \\fB{}\\fR", escaped(name));
    for (const CLI::Option* option : command->get_options()) {
      if (!option->get_positional()) continue;
      const std::string operand = fmt::format("\\fI{}\\fR", escaped(option->get_single_name()));
      text += option->get_required() ? " " + operand : " [" + operand + "]";
    }
    text += fmt::format("\n{}\n{}.PP\n.nf\n{}\n.fi\n", escaped(command->get_description()),
                        optionsText(*command), escaped(command->get_footer()));
  }
  return text;
}

void printManual(const NoOptions&, const Session& session) {
  printResult(
      false, {},
      fmt::format(".TH TQLIB 1 \"\" \"tqlib {}\" \"Virtual tape libraries\"\n{}.SH OPTIONS\n"
                  "They can be anywhere on the command line.\n{}.SH COMMANDS\n{}{}",
                  TQLIB_VERSION, kHead, optionsText(*session.app),
                  commandsText(*session.app, "tqlib"), kTail));
}

}  // namespace

void addManualCommand(CLI::App& app, Session& session) {
  addCommand(app, session,
             {"manual", "Print the manual page of this tool", "tqlib manual | man -l -", false},
             printManual);
}
