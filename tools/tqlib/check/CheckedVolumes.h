// The volumes: against the media that the libraries have, and each in itself.
#pragma once

#include "check/CheckedLibrary.h"
#include "check/Findings.h"

/// Appends what is wrong with the volumes to `findings` and returns how many there are.
std::size_t checkVolumes(const Inventory& inventory, Findings& findings);
