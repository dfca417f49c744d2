// A progress bar on standard error, if that is a terminal.
#pragma once

#include <chrono>

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

  void draw() const;

  const double m_total;
  bool m_isVisible;
  const Clock::time_point m_start = Clock::now();
  Clock::time_point m_drawn = m_start;
  double m_done = 0;
};
