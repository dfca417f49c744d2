// The group "volume".
#pragma once

#include "base/Command.h"

void addVolumeCommands(CLI::App& app, Session& session);

// Commands of the group.
void addVolumeReports(CLI::App& group, Session& session);  ///< list, info
void addVolumeCopy(CLI::App& group, Session& session);     ///< copy, rename
void addVolumeVerify(CLI::App& group, Session& session);
