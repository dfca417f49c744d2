// Printing results, and text on a terminal. The width of a character is wcwidth(3)'s in a UTF-8
// locale, whatever the user's locale: text of the catalogue is always UTF-8.
#include "base/Output.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <numeric>
#include <string_view>

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/Errors.h"

namespace {

// The bar is drawn ten times a second, which costs little compared with the transfer. Its rate is
// that of the last seconds, so that it shows when a transfer becomes slow.
constexpr double kRedraw = 0.1;  ///< seconds
constexpr double kRecent = 3;    ///< seconds

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

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string sizeText(double bytes) {
  constexpr const char* kUnits[] = {"B", "kB", "MB", "GB", "TB", "PB"};
  std::size_t unit = 0;
  for (; bytes >= 1000 && unit + 1 < std::size(kUnits); ++unit) bytes /= 1000;
  return fmt::format("{:.{}f} {}", bytes, unit > 0 ? 1 : 0, kUnits[unit]);
}

std::string cellText(const Json& value) {
  if (value.is_string()) return value;
  if (value.is_null()) return "-";
  if (value.is_array()) return shortList(value);
  if (value.is_boolean()) return value ? "yes" : "no";
  return value.is_number_float() ? fmt::format("{:.0f} %", std::floor(value.get<double>() * 100))
                                 : value.dump();
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

// A path or a barcode on disk can hold bytes that are not UTF-8; they are replaced.
void printResult(bool json, const Json& values, const std::string& sentence, std::ostream& stream) {
  stream << (json ? values.dump(2, ' ', false, Json::error_handler_t::replace) : sentence)
         << std::endl;
  if (!stream) throw systemFailure("standard output cannot be written", errno);
}

std::string counted(unsigned long long count, const std::string& noun) {
  if (count == 1) return "1 " + noun;
  if (noun == "medium") return fmt::format("{} media", count);
  if (noun == "shelf") return fmt::format("{} shelves", count);
  if (noun.ends_with('y')) return fmt::format("{} {}ies", count, noun.substr(0, noun.size() - 1));
  return fmt::format("{} {}s", count, noun);
}

std::string shellWord(const std::string& word) {
  constexpr char kPlain[] =
      "%+,-./0123456789:=@ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
  return "'" + boost::replace_all_copy(word, "'", "'\\''") + "'";
}

std::string tableText(const std::vector<Row>& rows) {
  std::vector<int> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columnsOf(row[i]));
  }
  std::string text;
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += filledUp(row[i], widths[i], Charset::Utf8) + "  ";
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += (text.empty() ? "" : "\n") + line;
  }
  return text;
}

void printList(bool json, Json values, const char* name, const Json& list,
               std::vector<std::string> keys) {
  std::erase_if(keys, [&](const std::string& key) {
    return std::ranges::none_of(list, [&](const Json& object) { return object.contains(key); });
  });
  std::vector<Row> rows(1);
  for (const std::string& key : keys) rows.front().push_back(boost::to_upper_copy(key));
  for (const Json& object : list) {
    Row& row = rows.emplace_back();
    for (const std::string& key : keys)
      row.push_back(object.contains(key) ? cellText(object[key]) : "");
  }
  values[name] = list;
  printResult(json, values, list.empty() ? fmt::format("no {}", name) : tableText(rows));
}

std::string shortList(const std::vector<std::string>& all) {
  constexpr std::size_t kShown = 3;
  if (all.size() <= kShown) return fmt::format("{}", fmt::join(all, ", "));
  return fmt::format("{} and {} more", fmt::join(all.begin(), all.begin() + kShown, ", "),
                     all.size() - kShown);
}

std::string transferText(unsigned long long bytes, double seconds) {
  const double rate = seconds > 0 ? static_cast<double>(bytes) / 1e6 / seconds : 0;
  return fmt::format("{} in {:.3f} s ({:.1f} MB/s)", counted(bytes, "byte"), seconds, rate);
}

Progress::Progress(unsigned long long total)
    : m_total(static_cast<double>(total)), m_isVisible(isatty(STDERR_FILENO) == 1) {}

void Progress::advance(unsigned long long bytes) {
  m_done += static_cast<double>(bytes);
  const double seconds = m_isVisible ? secondsSince(m_drawn) : 0;
  if (seconds >= kRedraw) draw(seconds);
}

double Progress::finish() {
  if (m_isVisible) fmt::print(stderr, "\r\033[K");
  m_isVisible = false;
  return secondsSince(m_start);
}

void Progress::draw(double seconds) {
  const double current = (m_done - m_drawnDone) / seconds;
  m_rate += (current - m_rate) * (m_drawnDone > 0 ? std::min(seconds / kRecent, 1.0) : 1);
  m_drawn = Clock::now();
  m_drawnDone = m_done;
  std::string line = fmt::format("{}, {}/s", sizeText(m_done), sizeText(m_rate));
  if (m_total > 0) {
    // An input that grows while it is read becomes larger than the total.
    const double left = std::max(m_total - m_done, 0.0);
    const auto filled = static_cast<std::size_t>(20 * (1 - left / m_total));
    const auto wait = static_cast<long long>(left / std::max(m_rate, 1.0));
    line = fmt::format("[{:<20}] {} of {}, {}/s, {}:{:02} min left", std::string(filled, '#'),
                       sizeText(m_done), sizeText(m_total), sizeText(m_rate), wait / 60, wait % 60);
  }
  // The last column stays free: some terminals go to the next line when it is filled.
  const int width = std::max(terminalWidth(STDERR_FILENO) - 1, 1);
  fmt::print(stderr, "\r\033[K{}", fitted(line, width, Charset::Ascii));
}
