// The group "library": this room's commands create and export.
#pragma once

#include "base/Command.h"

void addLibraryGroup(CLI::App& app, Session& session);
