// The end of a library.
#pragma once

#include <string>

/// Removes a library, or what is left of one, with its entry in the list and its file. Throws
/// Failure.
void purgeLibrary(const std::string& library);
