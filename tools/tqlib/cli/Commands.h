// The command line of the tool.
#pragma once

#include <vector>

#include "base/Command.h"

/// Adds all commands.
void declareCommands(CLI::App& app, Session& session);

void addManualCommand(CLI::App& app, Session& session);
void addCompletionCommands(CLI::App& app, Session& session);

/// The commands of a group in their order, without hidden ones.
std::vector<const CLI::App*> commandsOf(const CLI::App& group);
