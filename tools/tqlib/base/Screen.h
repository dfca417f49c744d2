// What a terminal can show: its width, its colours, and text of the catalogue fitted to columns.
#pragma once

#include <string>

enum class Colour { Red = 31, Green = 32, Yellow = 33, Blue = 34, Magenta = 35, Cyan = 36 };

enum class Charset { Ascii, Utf8 };

/// `text` in that colour if `descriptor` is a terminal that knows colours and NO_COLOR is not set;
/// otherwise unchanged.
std::string coloured(const std::string& text, Colour colour, int descriptor);

/// The columns of the terminal at `descriptor`; for anything else what COLUMNS says, or 80.
int terminalWidth(int descriptor);

/// What the user's locale lets a terminal show.
Charset screenCharset();

/// `text` in at most `columns` columns. A character that cannot be shown becomes a question mark,
/// one without width is left out, and text that was cut off ends with an ellipsis.
std::string fitted(const std::string& text, int columns, Charset charset);

/// The columns that fitted text takes.
int columnsOf(const std::string& text);

/// Fitted text, padded with spaces to `columns`.
std::string filledUp(const std::string& text, int columns, Charset charset);
