#include "TqLibEmulator.h"
#include "map/MapGlyphs.h"

namespace {

const MapGlyphs kUtf8{{"┏", "┓", "┗", "┛", "━", "┃"},
                      {"┌", "┐", "└", "┘", "╌", "╎"},
                      "■",
                      "□",
                      {"·", "░", "▒", "▓", "█"},
                      "⋯",
                      "⋮",
                      "─",
                      "–"};
const MapGlyphs kAscii{{"#", "#", "#", "#", "=", "#"},
                       {".", ".", ".", ".", ".", "."},
                       "#",
                       ".",
                       {".", ":", "+", "*", "#"},
                       "..",
                       ":",
                       "-",
                       "-"};

}  // namespace

const MapGlyphs& glyphsOf(Charset charset) {
  return charset == Charset::Utf8 ? kUtf8 : kAscii;
}

Colour colourOf(const MapSection& section) {
  switch (section.type) {
    case LIB_ELEM_DRIVE:
      return Colour::Green;
    case LIB_ELEM_MAIL_SLOT:
      return Colour::Yellow;
    case LIB_ELEM_SHELF:
      return Colour::Magenta;
    default:
      return Colour::Cyan;
  }
}

std::string repeated(const char* sign, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += sign;
  return text;
}
