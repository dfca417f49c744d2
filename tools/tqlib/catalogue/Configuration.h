// The configuration: which file it is, and where it puts the catalogue and the volumes.
#pragma once

#include <string>

/// Sets the API's configuration: `config`, else the file of the environment, else the system's.
/// Throws Failure when that file cannot be read.
void useConfiguration(const std::string& config);

// What the configuration says. Unlike the API, these functions create no folder.

/// The catalogue folder, with "/" at its end.
std::string configuredCatalogue();

struct ConfiguredFolder {
  std::string path;
  bool isNamed;  ///< in the configuration; else it is a folder of the catalogue, made when needed
};

ConfiguredFolder configuredTapeFolder();

/// The most bytes that one volume may hold.
unsigned long long configuredVolumeLimit();

// The catalogue as the API finds it, with its folder created

/// The catalogue folder, with "/" at its end. Throws Failure when it cannot be created.
std::string catalogueFolder();

std::string libraryFile(const std::string& library);

bool libraryExists(const std::string& library);

/// Throws Failure when there is no such library.
void requireLibrary(const std::string& library);
