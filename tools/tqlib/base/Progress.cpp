#include "base/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "base/Terminal.h"

namespace {

// Often enough to look alive, seldom enough to cost nothing beside the transfer.
constexpr std::chrono::milliseconds kRedraw{100};

// A rate since the start would hide that a transfer has become slow.
constexpr std::chrono::seconds kRecent{3};

std::string bar(double fraction, std::size_t width) {
  const auto filled = static_cast<std::size_t>(fraction * static_cast<double>(width));
  std::string text(width, ' ');
  std::fill_n(text.begin(), filled, '#');
  return '[' + text + "] ";
}

std::string sizeText(double bytes) {
  const char* const kUnits[] = {"B", "kB", "MB", "GB", "TB", "PB"};
  const char* const* unit = kUnits;
  for (; bytes >= 1000 && unit + 1 != std::end(kUnits); ++unit) bytes /= 1000;
  char text[32];
  std::snprintf(text, sizeof text, bytes < 100 && unit != kUnits ? "%.1f %s" : "%.0f %s", bytes,
                *unit);
  return text;
}

std::string timeText(double seconds) {
  const auto whole = std::llround(seconds);
  if (whole < 60) return std::to_string(whole) + " s";
  if (whole < 3600) return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
  return std::to_string(whole / 3600) + " h " + std::to_string(whole / 60 % 60) + " min";
}

}  // namespace

Progress::Progress(std::optional<unsigned long long> total)
    : m_total(total),
      m_visible(isatty(STDERR_FILENO) == 1),
      m_start(Clock::now()),
      m_nextDraw(m_start + kRedraw),
      m_recent{{m_start, 0}} {}

Progress::~Progress() {
  finish();
}

void Progress::advance(unsigned long long bytes) {
  m_done += bytes;
  const Clock::time_point now = Clock::now();
  if (!m_visible || now < m_nextDraw) return;
  draw(now);
  m_nextDraw = now + kRedraw;
}

double Progress::finish() {
  if (m_visible) std::fputs("\r\033[K", stderr);
  m_visible = false;
  return std::chrono::duration<double>(Clock::now() - m_start).count();
}

double Progress::rate(Clock::time_point now) {
  const Sample& first = m_recent.front();
  const double seconds = std::chrono::duration<double>(now - first.time).count();
  const double bytesPerSecond = static_cast<double>(m_done - first.done) / std::max(seconds, 1e-9);
  m_recent.push_back({now, m_done});
  while (m_recent.size() > 1 && now - m_recent.front().time >= kRecent) m_recent.pop_front();
  return bytesPerSecond;
}

std::string Progress::leftText(double bytesPerSecond) const {
  if (!m_total || *m_total < m_done || *m_total == 0 || bytesPerSecond <= 0) return "";
  return ", " + timeText(static_cast<double>(*m_total - m_done) / bytesPerSecond) + " left";
}

// A part that is cut would tell something else, so whole ones go where there is no room.
std::string Progress::text(double bytesPerSecond, std::size_t width) const {
  const std::string done = sizeText(static_cast<double>(m_done));
  const std::string rateText = sizeText(bytesPerSecond) + "/s";
  const std::string shortest = done + ", " + rateText;
  const std::string left = leftText(bytesPerSecond);
  const std::string total =
      m_total.value_or(0) == 0 ? "" : " of " + sizeText(static_cast<double>(*m_total));
  const std::string lines[] = {done + total + ", " + rateText + left, shortest + left, shortest};
  for (const std::string& line : lines) {
    if (line.size() <= width) return line;
  }
  return rateText.substr(0, width);
}

void Progress::draw(Clock::time_point now) {
  constexpr std::size_t kLongestBar = 30;
  constexpr std::size_t kShortestBar = 5;
  constexpr std::size_t kFrame = 3;  // brackets and a space
  // The last column stays free: some terminals go to the next line when it is filled.
  const auto width = static_cast<std::size_t>(std::max(terminalWidth(STDERR_FILENO) - 1, 1));
  std::string line = text(rate(now), width);
  const std::size_t room = width - line.size();
  if (m_total && *m_total > 0 && room >= kShortestBar + kFrame) {
    // An input that grows while it is read passes its own total.
    const double fraction =
        std::min(static_cast<double>(m_done) / static_cast<double>(*m_total), 1.0);
    line.insert(0, bar(fraction, std::min(room - kFrame, kLongestBar)));
  }
  std::fprintf(stderr, "\r\033[K%s", line.c_str());
}
