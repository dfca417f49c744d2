// How a command is declared: its texts, its operands, and the function that it runs. Includes what
// every command uses: failures and output.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "base/Errors.h"
#include "base/Output.h"

/// The options that every command knows, and the command that was chosen.
struct Session {
  bool json = false;
  std::string config;
  bool needsConfiguration = false;  // whether the action needs one
  const CLI::App* app = nullptr;    // all commands, for the manual and the completion
  /// Set by the chosen command. Runs after the whole command line was parsed, so that a wrong
  /// option never leaves a command half done.
  std::function<void()> action;
};

/// Ends a command that has printed everything itself: the exit code is 1.
struct SilentFailure {};

/// The options of a command that has none.
struct NoOptions {};

template <typename Options>
struct Command {
  CLI::App& app;
  Options& options;
};

/// The example is a whole command line. It works on the libraries that the tests make for it.
struct CommandTexts {
  const char* name;
  const char* help;
  const char* example;
  bool needsConfiguration = true;  ///< it must exist before the command runs
};

/// Adds a command that runs `run` when it is chosen. Its options live as long as the command.
template <typename Options>
Command<Options> addCommand(CLI::App& parent, Session& session,
                            void (*run)(const Options&, const Session&),
                            const CommandTexts& texts) {
  const auto options = std::make_shared<Options>();
  CLI::App* app = parent.add_subcommand(texts.name, texts.help);
  app->footer(std::string("Example:\n  ") + texts.example);
  app->callback([options, run, texts, &session] {
    session.needsConfiguration = texts.needsConfiguration;
    session.action = [options, run, &session] { run(*options, session); };
  });
  return {*app, *options};
}

/// A group of commands, such as "library".
CLI::App& addGroup(CLI::App& app, const char* name, const char* help);

/// Text that the catalogue can hold: not empty, UTF-8, no control character.
CLI::Validator catalogueText();

/// Text that can name a library or a volume: catalogue text that is one path component.
CLI::Validator nameText();

// After the name of a volume, each is the name of a file beside it.
inline constexpr char checksumSuffix[] = ".sha256";
inline constexpr char blockLengthSuffix[] = ".blocks";

/// Why a volume cannot have that name; empty when it can. A barcode that no volume can have is of
/// no use, since the barcode of a medium is the name of its volume.
std::string volumeNameProblem(const std::string& name);

/// An option, or an operand, that takes catalogue text.
CLI::Option* addText(CLI::App& command, const char* name, std::string& value, const char* help);

// Operands that many commands share: LIBRARY, SERIAL, and one that names a volume.
CLI::Option* addLibraryOperand(CLI::App& command, std::string& library);
CLI::Option* addDriveOperand(CLI::App& command, std::string& serial);
CLI::Option* addVolumeOperand(CLI::App& command, std::string& volume, const char* name = "NAME",
                              const char* help = "The volume, usually a barcode");

/// Adds the option --yes, for a command that asks before it destroys something.
void addConsent(CLI::App& command, bool& isGiven);

/// Asks on the terminal whether to go on with `deed`, such as "erase volume A00001 (3 filemarks)",
/// unless consent was given with --yes. Throws Failure when the answer is no, and, naming --yes,
/// when standard input or standard error is no terminal.
void requireConsent(bool isGiven, const std::string& deed);
