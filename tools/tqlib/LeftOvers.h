// Files and folders that exist only while a call or a command runs: who left them, and whether it
// is over.
#pragma once

#include <string>
#include <vector>

#include "Findings.h"

/// Whether a file of that name is left in the catalogue folder by a command that is over. Prepared
/// files of saves do not count: they do not tell whose they are.
bool isLeftInCatalogue(const std::string& name);

/// The same for a folder among the volumes.
bool isLeftAmongVolumes(const std::string& name);

/// Whether it is a prepared file of a save.
bool isPrepared(const std::string& name);

/// The prepared files and the files that they are to become, by turns, of a save that is half done
/// in the catalogue folder; none when there is no such save. Throws Failure when there is one that
/// cannot be read.
std::vector<std::string> halfSavedNames(const std::string& folder);

/// Whether nothing at all has that name. What cannot be looked at, or a link that leads nowhere,
/// may be back tomorrow. Throws Failure when that cannot be told.
bool isAbsent(const std::string& path);

/// What is in a folder, in order. Throws Failure.
std::vector<std::string> namesIn(const std::string& folder);
