#pragma once

#include <chrono>

namespace korvel::host {

/// Share of the work that is done, on one line of stderr; only if that is a terminal and the work takes a while.
class Progress {
 public:
  /// Showing it more often does nothing.
  static constexpr std::chrono::milliseconds interval{100};

  Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Clears the line.
  ~Progress();

  void show(double share);

 private:
  using Clock = std::chrono::steady_clock;
  bool terminal_;
  bool shown_ = false;
  Clock::time_point next_;
};

}  // namespace korvel::host
