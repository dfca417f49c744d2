// The configured directories of the catalogue and the volumes, and the size limit of a volume.
//
// `platform` is a configuration store with its focus set. Nothing is created on disk.
#pragma once

#include <string>

#include "TqPlatform/PlatformInfo.h"

/// Appended to the directory that is configured for the catalogue.
inline constexpr char kCatalogueFolder[] = "/LibEmulator/";

/// The folder of the volumes in the catalogue directory, if no tape directory is configured.
inline constexpr char kDataFolder[] = "Data";

/// Puts the catalogue directory into `dir`, with "/" at its end. If nothing is configured, the
/// present content of `dir` is used as its parent directory.
void findCatalogueDirectory(TQPlatformInfo& platform, std::string& dir);

/// Puts the configured tape directory into `dir`; false, with `dir` unchanged, when it is not
/// configured.
bool findTapeDirectory(TQPlatformInfo& platform, std::string& dir);

/// The size limit of a volume in bytes; 4 GiB when it is not configured.
unsigned long long maxVolumeSize(TQPlatformInfo& platform);
