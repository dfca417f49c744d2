// Files and folders that exist only while a call or a command runs: who left them, and whether it
// is over.
#pragma once

#include <string>
#include <vector>

#include "check/Findings.h"

/// Whether a file of that name is left in the catalogue folder by a command that is over. Prepared
/// files of saves do not count: they do not tell whose they are.
bool isLeftInCatalogue(const std::string& name);

/// The same for a folder, or a file of checksums, among the volumes. A process of another container
/// does not count as one that runs; its lock tells.
bool isLeftAmongVolumes(const std::string& name);

/// Whether a process holds the lock of the folder.
bool isInUse(const std::string& folder);

/// Whether nothing at all has that name. What cannot be looked at, or a link that leads nowhere,
/// may be back tomorrow. Throws Failure when that cannot be told.
bool isAbsent(const std::string& path);

/// Whether it is a file itself, and no link to one.
bool isPlainFile(const std::string& path);

/// What is in a folder, in order. Throws Failure.
std::vector<std::string> namesIn(const std::string& folder);
