// An independent check whether a file is well-formed.
#pragma once

#include <string>

namespace fuzz {

/// Whether the catalogue may read `xml`: it is well-formed and has no internal subset. The XML
/// runtime must be running.
bool isWellFormed(const std::string& xml);

}  // namespace fuzz
