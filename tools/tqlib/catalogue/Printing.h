// Elements and devices as the commands print them.
#pragma once

#include <string>
#include <vector>

#include "TqLibEmulator.h"
#include "base/Output.h"

/// Prints the elements of a library as a table, or as JSON.
void printElements(bool json, const std::string& library, const std::vector<LibElement>& elements);

/// A device as one host sees it.
Json deviceJson(const SCSIUnitNoMap& device);
