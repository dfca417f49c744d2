// Making changes of a folder's entries durable.
#pragma once

#include <string>

/// Writes created, renamed and removed entries of a folder durably to the disk. A folder that
/// cannot be synced is no failure: the changes are made, they are only not yet durable.
void syncFolder(const std::string& folder);
