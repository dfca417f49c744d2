// Reading the library list, for operations on all libraries.
#pragma once

#include <string>
#include <vector>

/// The content of the library list.
struct ListedLibraries {
  std::vector<std::string> ids;  ///< the libraries' keys in the order of the list
  int code = 0;                  ///< last-error code if the list cannot be read; else 0
  std::string problem;           ///< last-error text in that case
  std::string reason;            ///< the parser's reason; empty when it is not known
};

/// Reads the list at `path` with a parser of its own. The list document of an object is not used:
/// an operation on one of the libraries may be changing it. An entry without an Id has an empty
/// key.
ListedLibraries readListedLibraries(const std::string& path);
