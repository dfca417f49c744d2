// Where the volumes lie.
#pragma once

#include <filesystem>
#include <string>

/// The folder that holds a folder for each volume. Throws Failure when the configuration names one
/// that does not exist.
std::filesystem::path volumeRoot();

/// Throws Failure when there is no such volume.
void requireVolume(const std::string& volume);
