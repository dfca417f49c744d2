// tqlib map.
#pragma once

#include "base/Command.h"

void addMapCommand(CLI::App& app, Session& session);
