// The commands on libraries, drives, elements and their status, and what other commands share with
// them.
#pragma once

#include "base/Command.h"
#include "base/Output.h"
#include "catalogue/Catalogue.h"
#include "catalogue/Configuration.h"

void addInitCommand(CLI::App& app, Session& session);
void addElementCommands(CLI::App& app, Session& session);
void addDriveCommands(CLI::App& app, Session& session);
void addDeviceCommands(CLI::App& app, Session& session);
void addStatusCommands(CLI::App& app, Session& session);

/// Commands of the group "library": list, show and remove.
void addLibraryCommands(CLI::App& group, Session& session);

/// A device as one host sees it.
Json deviceJson(const SCSIUnitNoMap& device);

/// Options for the identity and the addressing of a device, such as --vendor and --lun; `whose`
/// begins their help texts.
void addDeviceOptions(CLI::App& command, SCSIUnitFields& device, const std::string& whose);

/// Why a drive of the library cannot have that serial number; empty when it can.
std::string driveSerialProblem(const std::string& serial, const std::string& library);
