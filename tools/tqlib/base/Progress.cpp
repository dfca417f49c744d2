// The bar is drawn ten times a second, which costs little compared with the transfer.
#include "base/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include <fmt/format.h>

#include "base/Screen.h"

namespace {

constexpr double kRedraw = 0.1;  ///< seconds

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string sizeText(double bytes) {
  constexpr const char* kUnits[] = {"B", "kB", "MB", "GB", "TB", "PB"};
  std::size_t unit = 0;
  for (; bytes >= 1000 && unit + 1 < std::size(kUnits); ++unit) bytes /= 1000;
  return fmt::format("{:.{}f} {}", bytes, unit > 0 ? 1 : 0, kUnits[unit]);
}

}  // namespace

Progress::Progress(unsigned long long total)
    : m_total(static_cast<double>(total)), m_isVisible(isatty(STDERR_FILENO) == 1) {}

void Progress::advance(unsigned long long bytes) {
  m_done += static_cast<double>(bytes);
  if (!m_isVisible || secondsSince(m_drawn) < kRedraw) return;
  m_drawn = Clock::now();
  draw();
}

double Progress::finish() {
  if (m_isVisible) fmt::print(stderr, "\r\033[K");
  m_isVisible = false;
  return secondsSince(m_start);
}

void Progress::draw() const {
  const double rate = m_done / secondsSince(m_start);
  std::string line = fmt::format("{}, {}/s", sizeText(m_done), sizeText(rate));
  if (m_total > 0) {
    // An input that grows while it is read becomes larger than the total.
    const double left = std::max(m_total - m_done, 0.0);
    const auto filled = static_cast<std::size_t>(20 * (1 - left / m_total));
    const auto wait = static_cast<long long>(left / std::max(rate, 1.0));
    line = fmt::format("[{:<20}] {} of {}, {}/s, {}:{:02} min left", std::string(filled, '#'),
                       sizeText(m_done), sizeText(m_total), sizeText(rate), wait / 60, wait % 60);
  }
  // The last column stays free: some terminals go to the next line when it is filled.
  const int width = std::max(terminalWidth(STDERR_FILENO) - 1, 1);
  fmt::print(stderr, "\r\033[K{}", fitted(line, width, Charset::Ascii));
}
