// Making names durable.
#pragma once

#include <string>

/// Brings the names that were made, changed or removed in a folder to the disk. A folder that
/// cannot be synced is no failure: what was done there has been done.
void syncFolder(const std::string& folder);
