// tqlib completion: what can come next on a command line in bash.
//
// The shell calls the hidden command "complete". CLI11 parses the words typed so far. Libraries,
// elements, drives, hosts and volumes come from the catalogue.
#include <wordexp.h>

#include <set>

#include "catalogue/Configuration.h"
#include "catalogue/Devices.h"
#include "catalogue/Elements.h"
#include "catalogue/VolumeFiles.h"
#include "cli/Commands.h"

namespace {

// The colon of an element's name ends a word for readline, which then replaces only what follows.
constexpr char kScript[] = R"bash(# bash completion for tqlib
_tqlib() {
  local line=${COMP_LINE:0:COMP_POINT} kept= names
  local word=${line##* }
  [[ $word == *:* && $COMP_WORDBREAKS == *:* ]] && kept=${word%:*}:
  mapfile -t names < <("$1" complete "$line" 2>/dev/null)
  COMPREPLY=()
  ((${#names[@]})) && mapfile -t COMPREPLY < <(printf '%q\n' "${names[@]#"$kept"}")
}
complete -o default -F _tqlib tqlib)bash";

using Words = std::vector<std::string>;

/// A command line as far as it is typed.
struct Typed {
  /// The words behind the name of the tool.
  Typed(const Session& outer, const Words& words) : session(outer) {
    declareCommands(app, session);
    try {
      app.parse(Words(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError&) {  // something is still missing
    }
    while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
  }

  Session session;
  CLI::App app{};
  const CLI::App* command = &app;
};

/// The library on the command line, or all libraries.
Words libraries(const Typed& typed) {
  const CLI::Option* library = typed.command->get_option_no_throw("LIBRARY");
  return library != nullptr && library->count() > 0 ? library->results() : storedLibraries();
}

/// All elements and media, or only those that are occupied or not.
Words elements(const Typed& typed, std::optional<bool> occupied = std::nullopt) {
  Words names;
  for (const std::string& library : libraries(typed)) {
    for (const LibElement& element : inventory(library)) {
      if (element.isOccupied == occupied.value_or(element.isOccupied)) {
        names.push_back(elementName(element));
        if (element.isOccupied) names.push_back(element.barCode);
      }
    }
  }
  return names;
}

Words drives(const Typed& typed) {
  Words serials;
  for (const std::string& library : libraries(typed)) {
    for (const Device& drive : devicesIn(library).drives)
      serials.push_back(drive.record.SerialNumber);
  }
  return serials;
}

Words hosts() {
  Words names;
  for (const std::string& library : storedLibraries()) {
    for (const auto& [host, units] : unitsByHost(devicesIn(library))) {
      names.push_back(units.front().MAName);
    }
  }
  return names;
}

/// The values for an option or operand. Empty if they are not known: then the shell offers files.
Words valuesOf(const CLI::Option& option, const Typed& typed) {
  const std::string name = option.get_positional() ? option.get_single_name() : option.get_name();
  // If the line is incomplete, the parser stops before it sets the value.
  const Words config = typed.app.get_option("--config")->results();
  useConfiguration(config.empty() ? typed.session.config : config.back());
  if (name == "LIBRARY") return storedLibraries();
  if (name == "ELEMENT") return elements(typed);
  if (name == "FROM" || name == "BARCODE") return elements(typed, true);
  if (name == "TO") return elements(typed, false);
  if (name == "NAME") return volumesIn(volumeRoot());
  if (name == "SERIAL") return drives(typed);
  if (name == "HOST" || name == "--host") return hosts();
  return {};
}

/// The words that can follow `before`; also some that do not begin with `last`.
Words candidates(const Typed& typed, const std::string& before, const std::string& last) {
  Words names;
  for (const CLI::App* app : {typed.command, &typed.app}) {
    for (const CLI::Option* option : app->get_options()) {
      const bool isNamed = !option->get_positional() && option->check_name(before);
      if (isNamed && option->get_expected_max() > 0) return valuesOf(*option, typed);
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  if (last.starts_with("-")) return names;
  names.clear();
  for (const CLI::App* command : commandsOf(*typed.command)) names.push_back(command->get_name());
  for (const CLI::Option* option : typed.command->get_options()) {
    if (option->get_positional() && option->count() == 0) return valuesOf(*option, typed);
  }
  return names;
}

/// The words of the command that is being typed; the last one may be empty. None when a shell would
/// refuse them. A full stop is added, so that an empty last word is kept, and removed again.
Words wordsOf(const std::string& line) {
  const std::string command = line.substr(line.find_last_of("|&;(") + 1);
  for (const char* end : {".", ".'", ".\""}) {
    wordexp_t found{};
    if (wordexp((command + end).c_str(), &found, WRDE_NOCMD) != 0) continue;
    Words words(found.we_wordv, found.we_wordv + found.we_wordc);
    wordfree(&found);
    words.back().pop_back();
    return words;
  }
  return {};
}

void complete(const std::string& line, const Session& session) {
  Words words = wordsOf(line);
  if (words.size() < 2) return;
  const auto equals = words.back().find('=');
  if (words.back().starts_with("--") && equals != std::string::npos) {
    words.push_back(words.back().substr(equals + 1));
    words[words.size() - 2].resize(equals);
  }
  const std::string last = words.back();
  words.pop_back();
  const Typed typed(session, Words(words.begin() + 1, words.end()));
  const Words all = candidates(typed, words.back(), last);
  for (const std::string& word : std::set<std::string>(all.begin(), all.end())) {
    if (word.starts_with(last)) std::cout << word << '\n';
  }
}

void printScript(const NoOptions&, const Session&) {
  printResult(false, {}, kScript);
}

}  // namespace

void addCompletionCommands(CLI::App& app, Session& session) {
  CLI::App& group = addGroup(app, "completion", "Completion of command lines");
  addCommand(group, session, printScript,
             {"bash", "Print the completion for bash", "source <(tqlib completion bash)", false});
  const auto [command, options] = addCommand(
      app, session, complete,
      {"complete", "Print what can come next", "tqlib complete \"tqlib library s\"", false});
  command.group("");  // hidden: only the shell calls it
  command.add_option("LINE", options)->required();
}
