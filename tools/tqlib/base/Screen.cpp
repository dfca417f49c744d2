// Text on a terminal. The width of a character is wcwidth(3)'s in a UTF-8 locale, whatever the
// user's locale: text of the catalogue is always UTF-8.
#include "base/Screen.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <numeric>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace {

std::string_view environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

struct Sign {
  std::string_view bytes;
  int columns;
};

/// Takes one character off the front of `rest`.
Sign takeSign(std::string_view& rest, Charset charset) {
  std::mbstate_t state{};
  wchar_t wide = 0;
  const std::size_t size = std::mbrtowc(&wide, rest.data(), rest.size(), &state);
  const bool isCharacter = size > 0 && size <= rest.size();
  const std::string_view bytes = rest.substr(0, isCharacter ? size : 1);
  rest.remove_prefix(bytes.size());
  const int columns = isCharacter ? wcwidth(wide) : -1;
  if (columns == 0) return {"", 0};  // it would change its neighbour, or the direction
  const bool isShown = columns > 0 && (charset == Charset::Utf8 || bytes.size() == 1);
  return isShown ? Sign{bytes, columns} : Sign{"?", 1};
}

std::vector<Sign> signsOf(std::string_view text, Charset charset) {
  static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  const locale_t before = uselocale(utf8);
  std::vector<Sign> signs;
  while (!text.empty()) signs.push_back(takeSign(text, charset));
  uselocale(before);
  return signs;
}

int columnsOf(const std::vector<Sign>& signs) {
  return std::accumulate(signs.begin(), signs.end(), 0,
                         [](int sum, const Sign& sign) { return sum + sign.columns; });
}

}  // namespace

std::string coloured(const std::string& text, Colour colour, int descriptor) {
  const std::string_view terminal = environment("TERM");
  const bool hasColours = isatty(descriptor) == 1 && environment("NO_COLOR").empty() &&
                          !terminal.empty() && terminal != "dumb";
  return hasColours ? fmt::format("\033[{}m{}\033[0m", static_cast<int>(colour), text) : text;
}

int terminalWidth(int descriptor) {
  winsize size{};
  if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  const int columns = std::atoi(environment("COLUMNS").data());
  return columns > 0 ? columns : 80;
}

Charset screenCharset() {
  std::setlocale(LC_CTYPE, "");
  return std::string_view(nl_langinfo(CODESET)) == "UTF-8" ? Charset::Utf8 : Charset::Ascii;
}

std::string fitted(const std::string& text, int columns, Charset charset) {
  const std::vector<Sign> signs = signsOf(text, charset);
  const bool isCut = columnsOf(signs) > columns;
  int room = isCut ? columns - 1 : columns;
  std::string result;
  for (const Sign& sign : signs) {
    room -= sign.columns;
    if (room < 0) break;
    result += sign.bytes;
  }
  if (isCut && columns > 0) result += charset == Charset::Utf8 ? "…" : "~";
  return result;
}

int columnsOf(const std::string& text) {
  return columnsOf(signsOf(text, Charset::Utf8));
}

std::string filledUp(const std::string& text, int columns, Charset charset) {
  const std::string result = fitted(text, columns, charset);
  return result +
         std::string(static_cast<std::size_t>(std::max(columns - columnsOf(result), 0)), ' ');
}
