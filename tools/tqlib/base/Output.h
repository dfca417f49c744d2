// What commands print: sentences and tables for people, JSON for programs, and a progress bar; and
// what a terminal can show of them.
#pragma once

#include <chrono>
#include <iostream>
#include <string>
#include <vector>

#include "base/Json.h"

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

/// Prints `sentence`, or `values` as one JSON object when `json` is true. A command whose data goes
/// to standard output prints its result to std::cerr. Throws Failure when standard output cannot be
/// written.
void printResult(bool json, const Json& values, const std::string& sentence,
                 std::ostream& stream = std::cout);

/// "1 drive", "2 drives": `noun` in the singular.
std::string counted(unsigned long long count, const std::string& noun);

/// `word` as a shell reads it: in quotes where it needs them.
std::string shellWord(const std::string& word);

using Row = std::vector<std::string>;

/// Rows in columns; a character that cannot be shown is a question mark. No newline at the end.
std::string tableText(const std::vector<Row>& rows);

/// Prints a list of objects as a table of the values with these keys, or as a member of `values`. A
/// fraction is shown in percent, and of a list the first few; a key that none has is left out.
void printList(bool json, Json values, const char* name, const Json& list,
               std::vector<std::string> keys);

/// The first few, and how many more there are.
std::string shortList(const std::vector<std::string>& all);

/// "1234 bytes in 0.5 s (2.5 MB/s)"; a megabyte is 1,000,000 bytes.
std::string transferText(unsigned long long bytes, double seconds);

/// A progress bar on standard error, if that is a terminal.
class Progress {
public:
  /// `total` in bytes; 0 when it is not known.
  explicit Progress(unsigned long long total);
  ~Progress() { finish(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void advance(unsigned long long bytes);
  /// Removes the bar and returns the seconds since the start.
  double finish();

private:
  using Clock = std::chrono::steady_clock;

  void draw(double seconds);

  const double m_total;
  bool m_isVisible;
  const Clock::time_point m_start = Clock::now();
  Clock::time_point m_drawn = m_start;
  double m_done = 0;
  double m_drawnDone = 0;
  double m_rate = 0;  ///< bytes a second, smoothed over some seconds
};
