// What is wrong in one library file, and what all of them together have.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "TqLibEmulator.h"
#include "catalogue/LibraryContent.h"
#include "check/Findings.h"

/// What must not be there twice, in whatever library.
struct Inventory {
  std::map<std::string, std::vector<Place>> media;  ///< by barcode
  std::map<std::string, Place> drives;              ///< by serial number, folded
  std::size_t libraries = 0;                        ///< files that could be read
  std::size_t elements = 0;
  bool isWhole = true;  ///< no library is there whose elements are not known
};

/// A library that is removed, but for its file.
bool isRemovedLibrary(const LibraryContent& content);

/// Whether the file holds one library, the one of that key.
bool isLibraryOfKey(const LibraryContent& content, const std::string& key);

/// Appends what is wrong in the file of the library `key` to `findings`, and what it has to
/// `inventory`.
void checkLibrary(const std::string& key, const std::string& file, const LibraryContent& content,
                  Findings& findings, Inventory& inventory);

/// Appends what is wrong with media that several places have, and gives up to mend these places:
/// nobody can tell which of them has the medium.
void checkDoubledMedia(const Inventory& inventory, Findings& findings);

/// The occupancy of an element that its barcode does not contradict; nothing when they agree.
bool hasWrongOccupancy(const ElementContent& element);

/// The element as a record with its address, as its barcode says that it is occupied.
LibElement elementByBarcode(const ElementContent& element);
