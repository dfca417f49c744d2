// Elements with their addresses and barcodes, side by side.
#pragma once

#include "map/MapGlyphs.h"

/// A box for each: the border of a full one is heavy, that of an empty one dashed.
Lines mapBoxes(const MapSection& section, const MapStyle& style);

/// A line of text for each.
Lines mapLabels(const MapSection& section, const MapStyle& style);
