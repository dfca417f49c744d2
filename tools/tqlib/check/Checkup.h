// One look at the whole catalogue and its volumes.
#pragma once

#include <cstddef>

#include "check/Findings.h"

struct Checkup {
  Findings findings;  ///< those of one file stand together
  std::size_t libraries = 0;
  std::size_t elements = 0;
  std::size_t volumes = 0;
};

/// Changes nothing. What cannot be read is a finding; throws Failure only when there is no
/// catalogue folder.
Checkup checkCatalogue();
