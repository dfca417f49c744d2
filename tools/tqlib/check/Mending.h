// Mending what has one right answer.
#pragma once

#include <string>
#include <vector>

#include "check/Findings.h"
#include "check/KeptCopies.h"

/// Mends those of the findings that are mendable, and returns why it could not do so where it could
/// not. What came of it the next check tells. Never throws for a single failure.
std::vector<std::string> mend(const Findings& findings, KeptCopies& copies);
