// The parts of a picture in the terminal.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "map/Map.h"

struct BoxGlyphs {
  const char* topLeft;
  const char* topRight;
  const char* bottomLeft;
  const char* bottomRight;
  const char* across;
  const char* down;
};

struct MapGlyphs {
  BoxGlyphs fullBox;
  BoxGlyphs emptyBox;
  const char* full;
  const char* empty;
  std::array<const char*, 5> density;  ///< none, up to a third, up to two thirds, more, all
  const char* gap;
  const char* skippedRows;
  const char* rule;
  const char* dash;
};

const MapGlyphs& glyphsOf(Charset charset);

/// The room for a picture, and its signs.
struct MapStyle {
  int width;
  Charset charset;
  const MapGlyphs& glyphs;
};

using Lines = std::vector<std::string>;

/// `sign` that many times.
std::string repeated(const char* sign, int times);

/// A box for each element, side by side: with a heavy border if it is full, else a dashed one.
Lines mapBoxes(const MapSection& section, const MapStyle& style);

/// A line of text for each element, side by side.
Lines mapLabels(const MapSection& section, const MapStyle& style);

struct MarkGrid {
  long long perMark;  ///< addresses of a mark
  Lines lines;
};

/// Rows of marks, a character for one or several addresses, in few enough lines for one look.
MarkGrid markGrid(const MapSection& section, const MapStyle& style);
