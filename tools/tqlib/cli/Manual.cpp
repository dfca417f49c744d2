// tqlib manual: the manual page tqlib(1), made from the commands themselves, so that it cannot lag
// behind them.
#include <iostream>

#include "base/Command.h"
#include "base/Errors.h"
#include "cli/Commands.h"

namespace {

struct NoOptions {};

constexpr char kHead[] =
    R"(.SH NAME
tqlib \- virtual tape libraries: their catalogue and their volumes
.SH SYNOPSIS
.B tqlib
.RI [ options ]
.I noun verb
.RI [ arguments ]
.SH DESCRIPTION
The catalogue holds libraries: medium changers with drives, storage slots, import/export slots and
shelves, and the hosts that see them. The data of each medium lies in a volume, a folder that the
barcode names. Every command is a noun and a verb, then the library, then its elements, which are
written
.BR slot: N ,
.BR mail: N ,
.BR drive: N
and
.BR shelf: N
with N the element address.
.PP
An emulator may work on the same catalogue meanwhile: they wait for each other's changes.
)";

constexpr char kTail[] =
    R"(.SH EXIT STATUS
.TP
.B 0
Done; for
.BR "check" :
nothing was found.
.TP
.B 1
Refused or failed. A refusal changes nothing; of a volume write that failed, what was written stays;
for
.BR "check" :
something was found.
.TP
.B 2
Wrong usage; nothing was touched.
.PP
A command that is interrupted ends by the signal.
.SH OUTPUT
With
.B \-\-json
each command prints one JSON object, and an error is one on standard error, with code, text and the
next thing to do. Its keys stay; later versions may add some.
.I /usr/share/doc/tqlib/json.md
shows that of each command. Colours appear on terminals alone.
.SH ENVIRONMENT
.TP
.B TQ_PLATFORM_CONFIG
The configuration file.
.TP
.B TQ_PLATFORM_LOG
The file that the log goes to, else standard error.
.TP
.B NO_COLOR
Not empty: no colours.
.TP
.B COLUMNS
The width of pictures where no terminal tells it.
.SH FILES
.TP
.I /etc/tqlib.ini
The configuration when neither
.B \-\-config
nor the environment names one:
.B sVirtualLibXMLDirectory
(the catalogue lies in its folder LibEmulator),
.B sVirtualTapeDirectory
and
.B nVirtualTapeSizeMB
in the section
.BR [MediaManager] .
.SH SEE ALSO
.BR tqlib\-catalogue (5)
)";

// A backslash, a hyphen that is typed, and a line that begins like a request mean something to
// troff.
std::string escaped(const std::string& text) {
  std::string result;
  bool lineStart = true;
  for (const char character : text) {
    if (lineStart && (character == '.' || character == '\'')) result += "\\&";
    lineStart = character == '\n';
    if (character == '\\') {
      result += "\\e";
    } else if (character == '-') {
      result += "\\-";
    } else {
      result += character;
    }
  }
  return result;
}

bool isShown(const CLI::Option& option) {
  return !option.get_group().empty() && option.get_name() != "--help";
}

std::string optionTerm(const CLI::Option& option) {
  std::string term = "\\fB" + escaped(option.get_name(false, true)) + "\\fR";
  if (option.get_expected_max() > 0 && !option.get_positional()) {
    term += " \\fI" + escaped(option.get_type_name().substr(0, option.get_type_name().find(':'))) +
            "\\fR";
  }
  return term + (option.get_required() && !option.get_positional() ? " (required)" : "");
}

void printOptions(const CLI::App& app) {
  for (const CLI::Option* option : app.get_options()) {
    if (!isShown(*option)) continue;
    std::cout << ".TP\n" << optionTerm(*option) << '\n' << escaped(option->get_description());
    if (!option->get_default_str().empty()) {
      std::cout << " (default " << escaped(option->get_default_str()) << ')';
    }
    std::cout << '\n';
  }
}

std::string usage(const CLI::App& command, const std::string& path) {
  std::string text = "\\fB" + escaped(path) + "\\fR";
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_positional()) continue;
    const std::string name = "\\fI" + escaped(option->get_single_name()) + "\\fR";
    text += option->get_required() ? " " + name : " [" + name + "]";
  }
  return text;
}

void printCommand(const CLI::App& command, const std::string& path) {
  std::cout << ".SS " << usage(command, path) << '\n' << escaped(command.get_description()) << '\n';
  printOptions(command);
  std::cout << ".PP\n.nf\n" << escaped(command.get_footer()) << "\n.fi\n";
}

void printCommands(const CLI::App& app, const std::string& path) {
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (command->get_group().empty()) continue;
    const std::string name = path + " " + command->get_name();
    if (command->get_require_subcommand_min() > 0) {
      printCommands(*command, name);
    } else {
      printCommand(*command, name);
    }
  }
}

void printManual(const NoOptions&, const Session& session) {
  std::cout << ".TH TQLIB 1 \"\" \"tqlib " TQLIB_VERSION "\" \"Virtual tape libraries\"\n" << kHead;
  std::cout << ".SH OPTIONS\nThey may stand anywhere on the command line.\n";
  printOptions(*session.app);
  std::cout << ".SH COMMANDS\n";
  printCommands(*session.app, "tqlib");
  std::cout << kTail << std::flush;
  if (!std::cout) throw Failure("standard output cannot be written");
}

}  // namespace

void addManualCommand(CLI::App& app, Session& session) {
  addCommand(app, session,
             {"manual", "Print the manual page of this tool", "tqlib manual | man -l -"},
             printManual);
}
