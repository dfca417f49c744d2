// The library list, for an operation that goes through all libraries.
#pragma once

#include <string>
#include <vector>

/// The content of the library list.
struct ListedLibraries {
  std::vector<std::string> ids;  ///< the libraries' keys in the order of the list
  int code = 0;                  ///< the last-error code when the list could not be read, else 0
  std::string problem;           ///< the text for that case
  std::string reason;            ///< what the parser found wrong, empty when it is not known
};

/// Reads the list at `path` with a parser of its own, so that the list document of the object,
/// which an operation on one of the libraries may be changing, is left alone. An entry without an
/// Id has an empty key.
ListedLibraries readListedLibraries(const std::string& path);
