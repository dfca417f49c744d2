// The commands about the tool itself.
#pragma once

#include "base/Command.h"

void addManualCommand(CLI::App& app, Session& session);
void addCompletionCommands(CLI::App& app, Session& session);
