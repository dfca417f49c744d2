// The catalogue folder: the list against the files, and what a crash left there.
#pragma once

#include <string>
#include <vector>

#include "check/CheckedLibrary.h"

/// A library that has a file.
struct LibraryFile {
  std::string key;
  std::string path;
  bool lacksEntry;  ///< it is not in the list; false also when the list cannot be read
};

/// Appends what is wrong with the list and the folder to `findings`, and returns the libraries
/// there, the listed ones first and in the order of the list. Whether one that is not listed
/// belongs into the list, what is in its file has to tell. The inventory is not whole when a
/// library has no file that could be read. Throws Failure when the folder cannot be read.
std::vector<LibraryFile> checkFiles(const std::string& folder, Findings& findings,
                                    Inventory& inventory);
