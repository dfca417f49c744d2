// A library as a drawing.
#pragma once

#include "map/LibraryMap.h"

/// A whole SVG document, newline at the end.
std::string mapSvg(const LibraryMap& map);
