// The commands on libraries, drives, elements and their status.
#pragma once

#include "base/Command.h"

void addInitCommand(CLI::App& app, Session& session);
void addElementCommands(CLI::App& app, Session& session);
void addDriveCommands(CLI::App& app, Session& session);
void addDeviceCommands(CLI::App& app, Session& session);
void addStatusCommands(CLI::App& app, Session& session);

/// Commands of the group "library".
void addLibraryReports(CLI::App& group, Session& session);
void addLibraryRemoval(CLI::App& group, Session& session);

/// A command of the group "drive".
void addDriveAddition(CLI::App& group, Session& session);
