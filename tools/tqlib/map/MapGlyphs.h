// The signs that a map in a terminal is made of.
#pragma once

#include <array>

#include "base/ScreenText.h"
#include "base/Terminal.h"
#include "map/LibraryMap.h"

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

/// How a map is painted: the room there is, and the signs.
struct MapStyle {
  int width;
  Charset charset;
  const MapGlyphs& glyphs;
};

using Lines = std::vector<std::string>;

/// Each kind of element has a colour of its own; full and empty never differ by colour alone.
Colour colourOf(const MapSection& section);

/// `sign` that many times.
std::string repeated(const char* sign, int times);
