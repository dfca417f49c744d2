// Mending the library list.
#pragma once

#include <string>

#include "check/Findings.h"
#include "check/KeptCopies.h"

/// Takes out and enters what the findings on the list say, as far as it still holds, and leaves
/// everything else in the list as it is. Throws Failure when that cannot be done; the list is then
/// what it was.
void mendList(const std::string& folder, const Findings& findings, KeptCopies& copies);
