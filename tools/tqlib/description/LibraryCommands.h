// The group "library", with the commands that make a library and describe one.
#pragma once

#include "base/Command.h"

void addLibraryCommands(CLI::App& app, Session& session);

/// A command of the group "library".
void addLibraryExport(CLI::App& group, Session& session);
