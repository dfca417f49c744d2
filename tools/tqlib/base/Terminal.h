// What standard output and standard error can show.
#pragma once

#include <string>

enum class Colour { Red = 31, Green = 32, Yellow = 33, Blue = 34, Magenta = 35, Cyan = 36 };

/// Whether text on `descriptor` may be coloured: it is a terminal, one that knows colours, and the
/// user has not set NO_COLOR to anything.
bool showsColours(int descriptor);

/// `text` in that colour where `descriptor` shows colours, else as it is.
std::string coloured(const std::string& text, Colour colour, int descriptor);

/// The columns of the terminal at `descriptor`; for anything else what COLUMNS says, or 80.
int terminalWidth(int descriptor);
