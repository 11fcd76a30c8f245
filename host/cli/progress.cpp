#include "host/cli/progress.h"

#include <unistd.h>

#include <cstdio>

namespace korvel::host {

Progress::Progress() : terminal_(isatty(STDERR_FILENO) == 1), next_(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
  if (shown_) std::fputs("\r     \r", stderr);
}

void Progress::show(double share) {
  if (!terminal_ || Clock::now() < next_) return;
  std::fprintf(stderr, "\r%3.0f %%", 100 * share);
  shown_ = true;
  next_ = Clock::now() + interval;
}

}  // namespace korvel::host
