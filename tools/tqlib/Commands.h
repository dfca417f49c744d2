// What the command files share: the session, and one function for each group of commands.
#pragma once

#include <functional>
#include <string>

#include <CLI/CLI.hpp>

/// The options that every command knows, and the command that was chosen.
struct Session {
  bool json = false;
  std::string config;
  const CLI::App* app = nullptr;  // all commands, for those that tell of them
  /// Set by the chosen command. Runs once the whole command line has been found good, so that a
  /// wrong option never leaves a command half done.
  std::function<void()> action;
};

/// Ends a command that has told everything itself: the exit code is 1, and nothing more is said.
struct SilentFailure {};

void addInitCommand(CLI::App& app, Session& session);
void addLibraryCommands(CLI::App& app, Session& session);
void addElementCommands(CLI::App& app, Session& session);
void addVolumeCommands(CLI::App& app, Session& session);
void addDeviceCommands(CLI::App& app, Session& session);
void addDriveCommands(CLI::App& app, Session& session);
void addMapCommand(CLI::App& app, Session& session);
void addStatusCommands(CLI::App& app, Session& session);
void addManualCommand(CLI::App& app, Session& session);
void addCompletionCommands(CLI::App& app, Session& session);
void addCheckCommand(CLI::App& app, Session& session);

/// Further commands of the group "library".
void addLibraryReports(CLI::App& group, Session& session);
void addLibraryRemoval(CLI::App& group, Session& session);
void addLibraryExport(CLI::App& group, Session& session);

/// A further command of the group "drive".
void addDriveAddition(CLI::App& group, Session& session);

/// Further commands of the group "volume".
void addVolumeReports(CLI::App& group, Session& session);
void addVolumeCopy(CLI::App& group, Session& session);
void addVolumeVerify(CLI::App& group, Session& session);
