// Which configuration the library works with, and where its catalogue lies.
#pragma once

#include <string>

/// The file that init writes into its folder.
inline constexpr char kConfigurationFileName[] = "tqlib.ini";

/// Makes `config`, or else what the environment or the system names, the library's configuration.
/// Throws Failure when that file cannot be read.
void useConfiguration(const std::string& config);

/// The catalogue folder, with "/" at its end. Throws Failure when it cannot be made.
std::string catalogueFolder();

std::string libraryFile(const std::string& library);

bool libraryExists(const std::string& library);

/// Throws Failure when there is no such library.
void requireLibrary(const std::string& library);
