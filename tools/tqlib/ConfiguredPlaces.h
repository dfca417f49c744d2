// Where the configuration puts the catalogue and the volumes, found out without a trace. The
// library makes the folders that it is asked for, which a command that only looks must not.
#pragma once

#include <string>

/// The catalogue folder, with "/" at its end, whether it exists or not.
std::string configuredCatalogue();

struct TapeFolder {
  std::string path;
  bool isNamed;  ///< in the configuration; else it is a folder of the catalogue, made when needed
};

TapeFolder configuredTapeFolder();

/// The most bytes that one volume may hold.
unsigned long long configuredVolumeLimit();
