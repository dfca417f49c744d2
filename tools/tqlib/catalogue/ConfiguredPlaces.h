// Where the configuration puts the catalogue and the volumes, and how much these may hold, found
// out without a trace: the library makes the folders that it is asked for.
#pragma once

#include <string>

/// The catalogue folder, with "/" at its end, whether it exists or not.
std::string configuredCatalogue();

struct ConfiguredFolder {
  std::string path;
  bool isNamed;  ///< in the configuration; else it is a folder of the catalogue, made when needed
};

ConfiguredFolder configuredTapeFolder();

/// The most bytes that one volume may hold.
unsigned long long configuredVolumeLimit();
