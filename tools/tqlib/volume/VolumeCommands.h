// The group "volume", and what is asked before a volume changes.
#pragma once

#include <set>

#include "base/Command.h"

void addVolumeCommands(CLI::App& app, Session& session);

// Commands of the group.
void addVolumeReports(CLI::App& group, Session& session);  ///< list, info
void addVolumeCopy(CLI::App& group, Session& session);     ///< copy, rename
void addVolumeVerify(CLI::App& group, Session& session);

/// The next step when a library still has the medium of a volume.
inline constexpr char kForceNext[] = "--force does it all the same; the library keeps the medium";

/// Asks whether to go on with `deed` when it destroys data or when a medium of the volumes may be
/// in a drive, unless consent was given. Throws Failure as requireConsent() does.
void requireVolumeConsent(bool isGiven, const std::string& deed, bool destroys,
                          const std::set<std::string>& volumes);
