// Text of the catalogue, made fit for a place of so many columns.
#pragma once

#include <string>

enum class Charset { Ascii, Utf8 };

/// What the user's locale lets a terminal show.
Charset screenCharset();

/// `text` in at most `columns` columns: a character that is no plain sign is shown as a question
/// mark, or left out when it takes no room; what is cut off leaves an ellipsis.
std::string fitted(const std::string& text, int columns, Charset charset);

/// The columns that fitted text takes.
int columnsOf(const std::string& text);

/// Fitted text, and blanks up to `columns`.
std::string filledUp(const std::string& text, int columns, Charset charset);
