// A progress bar on a terminal's standard error; silent anywhere else.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>

class Progress {
public:
  /// `total` in bytes; nothing when it is not known beforehand.
  explicit Progress(std::optional<unsigned long long> total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void advance(unsigned long long bytes);
  /// Takes the bar off the terminal and returns the seconds since the start.
  double finish();

private:
  using Clock = std::chrono::steady_clock;

  struct Sample {
    Clock::time_point time;
    unsigned long long done;
  };

  void draw(Clock::time_point now);
  double rate(Clock::time_point now);
  std::string leftText(double bytesPerSecond) const;
  std::string text(double bytesPerSecond, std::size_t width) const;

  const std::optional<unsigned long long> m_total;
  bool m_visible;
  const Clock::time_point m_start;
  Clock::time_point m_nextDraw;
  unsigned long long m_done = 0;
  std::deque<Sample> m_recent;
};
