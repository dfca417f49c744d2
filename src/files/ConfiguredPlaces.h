// Where the configuration puts the catalogue and the volumes, and how large a volume may grow.
//
// `platform` is a configuration store with its focus set. Nothing is created.
#pragma once

#include <string>

#include "TqPlatform/PlatformInfo.h"

/// What is appended to any directory that is configured for the catalogue.
inline constexpr char kCatalogueFolder[] = "/LibEmulator/";

/// The folder of the volumes in the catalogue directory, where no tape directory is configured.
inline constexpr char kDataFolder[] = "Data";

/// Turns `dir`, which is used when nothing is configured, into the catalogue directory, "/" at its
/// end.
void findCatalogueDirectory(TQPlatformInfo& platform, std::string& dir);

/// Puts the configured tape directory into `dir`; false, with `dir` unchanged, when there is none.
bool findTapeDirectory(TQPlatformInfo& platform, std::string& dir);

/// The most bytes that one volume may hold.
unsigned long long maxVolumeSize(TQPlatformInfo& platform);
