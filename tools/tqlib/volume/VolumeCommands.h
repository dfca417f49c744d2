// The group "volume".
#pragma once

#include "base/Command.h"

void addVolumeCommands(CLI::App& app, Session& session);

/// Commands of the group "volume".
void addVolumeReports(CLI::App& group, Session& session);
void addVolumeCopy(CLI::App& group, Session& session);
void addVolumeVerify(CLI::App& group, Session& session);
