// tqlib completion: what can come next on a command line in bash.
//
// The shell calls the hidden command "complete", which walks CLI11's tree of commands with the
// words typed so far, and looks into the catalogue for libraries, elements, drives, hosts and
// volumes.
#include <algorithm>
#include <iostream>
#include <set>
#include <string_view>

#include <fmt/format.h>

#include "TqLibEmulator.h"
#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "catalogue/Configuration.h"
#include "catalogue/ElementName.h"
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

struct LineOptions {
  std::string line;
};

/// What the words before the last one mean.
struct Position {
  const CLI::App& root;
  const CLI::App* command;
  Words operands{};
  const CLI::Option* waiting = nullptr;  // an option whose value comes next
  std::string config{};

  const CLI::Option* option(const std::string& name) const {
    const CLI::Option* own = command->get_option_no_throw(name);
    return own != nullptr ? own : root.get_option_no_throw(name);
  }
};

void advance(Position& at, const std::string& word) {
  if (at.waiting != nullptr) {
    if (at.waiting->get_name() == "--config") at.config = word;
    at.waiting = nullptr;
  } else if (word.starts_with("-")) {
    const CLI::Option* option = at.option(word);
    if (option != nullptr && option->get_expected_max() > 0) at.waiting = option;
    if (word.starts_with("--config=")) at.config = word.substr(word.find('=') + 1);
  } else {
    for (const CLI::App* command : commandsOf(*at.command)) {
      if (command->get_name() != word) continue;
      at.command = command;
      return;
    }
    at.operands.push_back(word);
  }
}

/// The elements of the library that is the first operand; with `occupied`, those in that state.
Words elements(const Position& at, std::optional<bool> occupied) {
  Words names;
  if (at.operands.empty()) return names;
  for (const LibElement& element : inventory(at.operands[0])) {
    if (element.isOccupied == occupied.value_or(element.isOccupied)) {
      names.push_back(elementName(element));
    }
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

Words hosts() {
  Words names;
  for (const std::string& library : storedLibraries()) {
    for (const std::string& host : hostsOf(library)) names.push_back(host);
  }
  return names;
}

/// What an option or operand of that name takes; empty for all others: the shell offers files.
Words valuesOf(const CLI::Option& option, const Position& at) {
  const std::string name = option.get_positional() ? option.get_single_name() : option.get_name();
  useConfiguration(at.config);
  if (name == "LIBRARY") return storedLibraries();
  if (name == "ELEMENT") return elements(at, std::nullopt);
  if (name == "FROM") return elements(at, true);
  if (name == "TO") return elements(at, false);
  if (name == "NAME") return volumesIn(volumeRoot());
  if (name == "SERIAL") return drives(at);
  if (name == "HOST" || name == "--host") return hosts();
  return {};
}

Words optionNames(const Position& at) {
  Words names;
  for (const CLI::App* app : {at.command, &at.root}) {
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  return names;
}

Words candidates(const Position& at, const std::string& last) {
  if (at.waiting != nullptr) return valuesOf(*at.waiting, at);
  if (last.starts_with("-")) return optionNames(at);
  Words names;
  for (const CLI::App* command : commandsOf(*at.command)) names.push_back(command->get_name());
  if (!names.empty()) return names;
  std::size_t number = 0;
  for (const CLI::Option* option : at.command->get_options()) {
    if (option->get_positional() && number++ == at.operands.size()) return valuesOf(*option, at);
  }
  return {};
}

/// The words of the command that is being typed, up to where it has come: without quotes and
/// backslashes, and without the commands before a pipe or the like.
Words wordsOf(const std::string& line) {
  Words words{""};
  char quote = '\0';  // the open one, if any
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char character = line[i];
    if (quote != '\0' ? character == quote : character == '"' || character == '\'') {
      quote = quote != '\0' ? '\0' : character;
    } else if (character == '\\' && quote != '\'' && i + 1 < line.size()) {
      words.back() += line[++i];
    } else if (quote == '\0' &&
               std::string_view("|&;(").find(character) != std::string_view::npos) {
      words = {""};
    } else if (quote == '\0' && character == ' ') {
      if (!words.back().empty()) words.emplace_back();
    } else {
      words.back() += character;
    }
  }
  return words;
}

// The first word is the tool. To the shell, the value behind a "=" is a word of its own.
void complete(const LineOptions& options, const Session& session) {
  const Words words = wordsOf(options.line);
  std::string last = words.back();
  Position at{.root = *session.app, .command = session.app, .config = session.config};
  for (std::size_t i = 1; i + 1 < words.size(); ++i) advance(at, words[i]);
  if (const auto equals = last.find('='); last.starts_with("--") && equals != std::string::npos) {
    at.waiting = at.option(last.substr(0, equals));
    last.erase(0, equals + 1);
  }
  const Words all = candidates(at, last);
  for (const std::string& word : std::set<std::string>(all.begin(), all.end())) {
    if (word.starts_with(last)) std::cout << word << '\n';
  }
}

void printScript(const NoOptions&, const Session&) {
  std::cout << kScript << std::flush;
  if (!std::cout) throw Failure("standard output cannot be written");
}

}  // namespace

std::vector<const CLI::App*> commandsOf(const CLI::App& group) {
  return group.get_subcommands(
      [](const CLI::App* command) { return !command->get_group().empty(); });
}

void addCompletionCommands(CLI::App& app, Session& session) {
  CLI::App* group =
      app.add_subcommand("completion", "Completion of command lines")->require_subcommand(1);
  addCommand(*group, session,
             {"bash", "Print the completion for bash", "source <(tqlib completion bash)"},
             printScript);
  const auto [command, options] = addCommand(
      app, session, {"complete", "Print what can come next", "tqlib complete \"tqlib library s\""},
      complete);
  command.group("");  // hidden: only the shell calls it
  command.add_option("LINE", options.line)->required();
}
