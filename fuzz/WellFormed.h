// What a parser on its own says of a file.
#pragma once

#include <string>

namespace fuzz {

/// Whether the catalogue may read `xml`: it is well-formed and brings no entities of its own. The
/// XML runtime has to have been started.
bool isWellFormed(const std::string& xml);

}  // namespace fuzz
