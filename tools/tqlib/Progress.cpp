#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace {

// Often enough to look alive, seldom enough to cost nothing beside the transfer.
constexpr std::chrono::milliseconds kRedraw{100};

std::string bar(double fraction) {
  constexpr std::size_t kWidth = 30;
  const auto filled = static_cast<std::size_t>(fraction * kWidth);
  std::string text(kWidth, ' ');
  std::fill_n(text.begin(), filled, '#');
  return '[' + text + ']';
}

}  // namespace

Progress::Progress(std::optional<unsigned long long> total)
    : m_total(total),
      m_visible(isatty(STDERR_FILENO) == 1),
      m_start(Clock::now()),
      m_nextDraw(m_start + kRedraw) {}

Progress::~Progress() {
  finish();
}

void Progress::advance(unsigned long long bytes) {
  m_done += bytes;
  if (!m_visible || Clock::now() < m_nextDraw) return;
  draw();
  m_nextDraw = Clock::now() + kRedraw;
}

double Progress::finish() {
  if (m_visible) std::fputs("\r\033[K", stderr);
  m_visible = false;
  return seconds();
}

double Progress::seconds() const {
  return std::chrono::duration<double>(Clock::now() - m_start).count();
}

void Progress::draw() const {
  const double done = static_cast<double>(m_done);
  const double rate = done / 1e6 / std::max(seconds(), 1e-9);
  std::fputs("\r\033[K", stderr);
  if (m_total && *m_total > 0) {
    // An input that grows while it is read passes its own total.
    const double fraction = std::min(done / static_cast<double>(*m_total), 1.0);
    std::fprintf(stderr, "%s %3.0f %% ", bar(fraction).c_str(), fraction * 100);
  }
  std::fprintf(stderr, "%.1f MB, %.1f MB/s", done / 1e6, rate);
}
