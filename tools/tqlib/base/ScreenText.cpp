#include "base/ScreenText.h"

#include <langinfo.h>

#include <clocale>
#include <cwchar>
#include <string_view>
#include <vector>

namespace {

// Text of the catalogue is UTF-8 wherever the tool runs, and a drawing is too: how wide a character
// is must not depend on the user's locale.
class Utf8Locale {
public:
  Utf8Locale() : m_before(uselocale(utf8())) {}
  ~Utf8Locale() { uselocale(m_before); }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

private:
  // Loading it takes far longer than all that is done with it.
  static locale_t utf8() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
  }

  locale_t m_before;
};

struct Sign {
  std::string_view bytes;
  int columns;
};

constexpr Sign kUnknown{"?", 1};

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// Takes one character off the front of `rest`.
Sign takeSign(std::string_view& rest, Charset charset) {
  std::mbstate_t state{};
  wchar_t wide = 0;
  const std::size_t size = std::mbrtowc(&wide, rest.data(), rest.size(), &state);
  if (size == 0 || size > rest.size()) {  // a zero byte, or none of UTF-8
    const bool within = isContinuation(rest.front());
    rest.remove_prefix(1);
    return within ? Sign{"", 0} : kUnknown;
  }
  const Sign sign{rest.substr(0, size), wcwidth(wide)};
  rest.remove_prefix(size);
  if (sign.columns == 0) return {"", 0};  // it would change its neighbour, or the direction
  if (sign.columns < 0 || (charset == Charset::Ascii && size > 1)) return kUnknown;
  return sign;
}

std::vector<Sign> signsOf(std::string_view text, Charset charset) {
  const Utf8Locale locale;
  std::vector<Sign> signs;
  while (!text.empty()) signs.push_back(takeSign(text, charset));
  return signs;
}

int columnsOf(const std::vector<Sign>& signs) {
  int columns = 0;
  for (const Sign& sign : signs) columns += sign.columns;
  return columns;
}

}  // namespace

Charset screenCharset() {
  std::setlocale(LC_CTYPE, "");
  return std::string_view(nl_langinfo(CODESET)) == "UTF-8" ? Charset::Utf8 : Charset::Ascii;
}

std::string fitted(const std::string& text, int columns, Charset charset) {
  std::vector<Sign> signs = signsOf(text, charset);
  const bool isCut = columnsOf(signs) > columns;
  const int room = isCut ? columns - 1 : columns;
  std::string result;
  int used = 0;
  for (const Sign& sign : signs) {
    if (used + sign.columns > room) break;
    used += sign.columns;
    result += sign.bytes;
  }
  if (isCut && columns > 0) result += charset == Charset::Utf8 ? "…" : "~";
  return result;
}

int columnsOf(const std::string& text) {
  return columnsOf(signsOf(text, Charset::Utf8));
}

std::string filledUp(const std::string& text, int columns, Charset charset) {
  std::string result = fitted(text, columns, charset);
  const int used = columnsOf(result);
  return result.append(static_cast<std::size_t>(columns > used ? columns - used : 0), ' ');
}
