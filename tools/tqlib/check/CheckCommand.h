// tqlib check.
#pragma once

#include "base/Command.h"

void addCheckCommand(CLI::App& app, Session& session);
