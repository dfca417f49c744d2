// A library as a picture in the terminal.
#pragma once

#include "base/ScreenText.h"
#include "map/LibraryMap.h"

/// The narrowest picture: an address and some marks beside it.
inline constexpr int kNarrowestMap = 20;

/// No line of it takes more than `width` columns; no newline at the end.
std::string mapText(const LibraryMap& map, int width, Charset charset);
