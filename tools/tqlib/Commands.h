// What the command files share: the session, and one function for each group of commands.
#pragma once

#include <functional>
#include <string>

#include <CLI/CLI.hpp>

/// The options that every command knows, and the command that was chosen.
struct Session {
  bool json = false;
  std::string config;
  /// Set by the chosen command. Runs once the whole command line has been found good, so that a
  /// wrong option never leaves a command half done.
  std::function<void()> action;
};

void addInitCommand(CLI::App& app, Session& session);
void addLibraryCommands(CLI::App& app, Session& session);
void addElementCommands(CLI::App& app, Session& session);
void addVolumeCommands(CLI::App& app, Session& session);
