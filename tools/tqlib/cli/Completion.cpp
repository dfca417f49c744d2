// tqlib completion: what may stand next on a command line that is being typed in bash.
//
// The shell asks the hidden command "complete", which walks the commands themselves and looks into
// the catalogue for libraries, elements, drives and hosts.
#include <algorithm>
#include <iostream>
#include <set>
#include <string_view>

#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "catalogue/Configuration.h"
#include "catalogue/ElementName.h"
#include "catalogue/TapeFolder.h"
#include "catalogue/VolumeFiles.h"
#include "cli/Commands.h"

namespace {

// The colon of an element's name ends a word for readline, which then replaces only what follows.
constexpr char kScript[] = R"bash(# bash completion for tqlib
_tqlib() {
  local line=${COMP_LINE:0:COMP_POINT} word candidate
  word=${line##* }
  COMPREPLY=()
  while IFS= read -r candidate; do
    if [[ $word == *:* && $COMP_WORDBREAKS == *:* ]]; then
      candidate=${candidate#"${word%"${word##*:}"}"}
    fi
    COMPREPLY+=("$(printf %q "$candidate")")
  done < <("$1" complete "$line" 2>/dev/null)
}
complete -o default -F _tqlib tqlib
)bash";

using Words = std::vector<std::string>;

struct NoOptions {};

struct LineOptions {
  std::string line;
};

/// How far the words before the last one have come.
struct Position {
  const CLI::App* command;
  Words operands;
  const CLI::Option* waiting = nullptr;  // an option whose value comes next
  std::string config;
};

Words commandNames(const CLI::App& command) {
  Words names;
  for (const CLI::App* app : command.get_subcommands([](const CLI::App*) { return true; })) {
    if (!app->get_group().empty()) names.push_back(app->get_name());
  }
  return names;
}

bool isCommand(const CLI::App& group, const std::string& word) {
  const Words names = commandNames(group);
  return std::find(names.begin(), names.end(), word) != names.end();
}

const CLI::Option* findOption(const CLI::App& root, const CLI::App& command,
                              const std::string& name) {
  const CLI::Option* option = command.get_option_no_throw(name);
  return option ? option : root.get_option_no_throw(name);
}

void advance(Position& at, const CLI::App& root, const std::string& word) {
  if (at.waiting != nullptr) {
    if (at.waiting->get_name() == "--config") at.config = word;
    at.waiting = nullptr;
  } else if (word.starts_with("-")) {
    const CLI::Option* option = findOption(root, *at.command, word);
    if (option != nullptr && option->get_expected_max() > 0) at.waiting = option;
    if (word.starts_with("--config=")) at.config = word.substr(word.find('=') + 1);
  } else if (isCommand(*at.command, word)) {
    at.command = at.command->get_subcommand(word);
  } else {
    at.operands.push_back(word);
  }
}

Words libraries(const Position&) {
  return storedLibraries();
}

Words elements(const Position& at, std::function<bool(const LibElement&)> wanted) {
  Words names;
  if (at.operands.empty()) return names;
  for (const LibElement& element : inventory(at.operands[0])) {
    if (wanted(element)) names.push_back(elementName(element));
  }
  return names;
}

Words drives(const Position& at) {
  const Words given = at.operands.empty() ? storedLibraries() : Words{at.operands[0]};
  Words serials;
  for (const std::string& library : given) {
    for (const SCSIUnitNoMap& device : devicesOf(library, "")) {
      if (!isLibrary(device)) serials.push_back(device.SerialNumber);
    }
  }
  return serials;
}

Words hosts(const Position&) {
  Words names;
  for (const std::string& library : storedLibraries()) {
    const Words some = hostsOf(library);
    names.insert(names.end(), some.begin(), some.end());
  }
  return names;
}

Words volumes(const Position&) {
  return volumesIn(volumeRoot());
}

bool any(const LibElement&) {
  return true;
}
bool isFull(const LibElement& element) {
  return element.isOccupied;
}
bool isFree(const LibElement& element) {
  return !element.isOccupied;
}

const struct {
  const char* value;
  std::function<Words(const Position&)> candidates;
} kValues[] = {
    {"LIBRARY", libraries},
    {"ELEMENT", [](const Position& at) { return elements(at, any); }},
    {"FROM", [](const Position& at) { return elements(at, isFull); }},
    {"TO", [](const Position& at) { return elements(at, isFree); }},
    {"NAME", volumes},
    {"SERIAL", drives},
    {"HOST", hosts},
    {"--host", hosts},
};

Words valuesOf(const CLI::Option& option, const Position& at) {
  for (const auto& known : kValues) {
    if (option.get_positional() ? option.get_single_name() == known.value
                                : option.get_name() == known.value) {
      useConfiguration(at.config);
      return known.candidates(at);
    }
  }
  return {};  // the shell offers files
}

Words optionNames(const CLI::App& root, const CLI::App& command) {
  Words names;
  for (const CLI::App* app : {&command, &root}) {
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  return names;
}

Words operandValues(const Position& at) {
  std::size_t number = 0;
  for (const CLI::Option* option : at.command->get_options()) {
    if (!option->get_positional()) continue;
    if (number++ == at.operands.size()) return valuesOf(*option, at);
  }
  return {};
}

Words candidates(const CLI::App& root, const Position& at, const std::string& last) {
  if (at.waiting != nullptr) return valuesOf(*at.waiting, at);
  if (last.starts_with("-")) return optionNames(root, *at.command);
  const Words commands = commandNames(*at.command);
  return commands.empty() ? operandValues(at) : commands;
}

/// The words of the command that is being typed, the last one as far as it has come: quotes and
/// backslashes taken away, and what stands before a pipe or another command left out.
Words wordsOf(const std::string& line) {
  Words words{""};
  char quote = 0;  // that has begun; 0: none
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char character = line[i];
    if (quote != 0 ? character == quote : character == '"' || character == '\'') {
      quote = quote != 0 ? '\0' : character;
    } else if (character == '\\' && quote != '\'' && i + 1 < line.size()) {
      words.back() += line[++i];
    } else if (quote == 0 && std::string_view("|&;(").find(character) != std::string_view::npos) {
      words = {""};
    } else if (quote == 0 && character == ' ') {
      if (!words.back().empty()) words.emplace_back();
    } else {
      words.back() += character;
    }
  }
  return words;
}

// The first word is the tool. What stands behind a "=" is a word of its own to the shell.
void complete(const LineOptions& options, const Session& session) {
  const Words words = wordsOf(options.line);
  std::string last = words.back();
  Position at{session.app, {}, nullptr, session.config};
  for (std::size_t i = 1; i + 1 < words.size(); ++i) advance(at, *session.app, words[i]);
  if (const auto equals = last.find('='); last.starts_with("--") && equals != std::string::npos) {
    at.waiting = findOption(*session.app, *at.command, last.substr(0, equals));
    last.erase(0, equals + 1);
  }
  const Words all = candidates(*session.app, at, last);
  for (const std::string& word : std::set<std::string>(all.begin(), all.end())) {
    if (word.starts_with(last)) std::cout << word << '\n';
  }
}

void printScript(const NoOptions&, const Session&) {
  std::cout << kScript << std::flush;
  if (!std::cout) throw Failure("standard output cannot be written");
}

}  // namespace

void addCompletionCommands(CLI::App& app, Session& session) {
  CLI::App* group =
      app.add_subcommand("completion", "Completion of command lines")->require_subcommand(1);
  addCommand(*group, session,
             {"bash", "Print the completion for bash", "source <(tqlib completion bash)"},
             printScript);
  const auto [command, options] = addCommand(
      app, session, {"complete", "Print what may stand next", "tqlib complete \"tqlib library s\""},
      complete);
  command.group("");  // the shell's own business
  command.add_option("LINE", options.line)->required();
}
