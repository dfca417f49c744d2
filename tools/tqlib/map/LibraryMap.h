// What a picture of a library shows, whatever it is painted with.
#pragma once

#include <string>
#include <vector>

#include "catalogue/Status.h"

struct MapCell {
  int address = 0;
  bool isFull = false;
  std::string barcode;
  std::string serial;  ///< of a drive, where a host sees it; else empty
};

/// The elements of one kind, by address.
struct MapSection {
  int type;              ///< a code of LibElemType
  const char* key;       ///< in JSON
  const char* title;     ///< for people
  const char* element;   ///< what it counts
  const char* elements;  ///< several of them
  const char* filled;    ///< what an element with a medium is called
  std::vector<MapCell> cells;

  std::size_t fullCells() const;
};

struct LibraryMap {
  std::string library;
  std::string identity;  ///< vendor and model, empty when no host sees the library
  Status status;
  std::vector<MapSection> sections;  ///< all kinds, those without elements too
};

/// Throws Failure when there is no such library, or it cannot be read.
LibraryMap readMap(const std::string& library);

/// "37 of 48 slots full" for each kind that there is, or "no elements".
std::vector<std::string> summaryTexts(const LibraryMap& map);

/// "1000", or a dash for a drive that its library has not placed.
std::string addressText(long long address);

/// "1000-1047"; one address alone, or nothing when none is placed.
std::string rangeText(const MapSection& section, const char* dash);

/// What an element with a medium is labelled with; empty for an empty one.
std::string labelText(const MapCell& cell);

/// The cells in their order, with null where addresses are missing between two of them.
std::vector<const MapCell*> cellsAndGaps(const MapSection& section);

bool hasGap(const MapSection& section);
