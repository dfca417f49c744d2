// The one way from a description to a library in the catalogue.
#pragma once

#include "description/LibraryDescription.h"

/// Makes the library. Throws Failure when there is one of that serial number, or the catalogue does
/// not hold what is described afterwards; nothing is left of it then.
void createDescribed(const LibraryDescription& description);
