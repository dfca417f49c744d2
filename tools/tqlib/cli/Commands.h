// The command line of the tool.
#pragma once

#include "base/Command.h"

/// Adds all commands.
void declareCommands(CLI::App& app, Session& session);
