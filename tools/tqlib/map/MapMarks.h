// Many elements in little room: a character for one of them, or for several.
#pragma once

#include "map/MapGlyphs.h"

struct MarkGrid {
  long long perMark = 1;  ///< addresses that one character stands for
  Lines lines;
};

/// Rows of marks that begin with the first address, in as few lines as can be looked over.
MarkGrid markGrid(const MapSection& section, const MapStyle& style);
