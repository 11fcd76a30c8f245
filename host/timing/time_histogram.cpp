#include "host/timing/time_histogram.h"

#include <algorithm>
#include <boost/histogram/make_histogram.hpp>
#include <cmath>

namespace korvel::host {

TimeHistogram::TimeHistogram()
    : bins_(boost::histogram::make_histogram_with(
          Counts(), Axis(decades * bins_per_decade, shortest, shortest * std::pow(10, decades)))) {}

// NOLINTNEXTLINE(bugprone-exception-escape): thrown is only for a wrong number of axes.
bool TimeHistogram::add(std::int64_t ns, std::uint64_t place) noexcept {
  bins_(static_cast<double>(ns));
  const bool is_longest = count_ == 0 || ns > largest_.ns;
  if (is_longest) largest_ = {ns, place};
  ++count_;
  return is_longest;
}

void TimeHistogram::add(const TimeHistogram& other) {
  bins_ += other.bins_;
  if (count_ == 0 || other.largest_.ns > largest_.ns) largest_ = other.largest_;
  count_ += other.count_;
}

double TimeHistogram::percentile(double share) const {
  const auto largest = static_cast<double>(largest_.ns);
  const Axis& axis = bins_.axis();
  double not_longer = 0;
  // Bin -1 has what is shorter than the first bin. What is longer than the last bin has only the largest as its upper
  // end.
  for (int bin = -1; bin < axis.size(); ++bin) {
    not_longer += static_cast<double>(bins_.at(bin));
    if (not_longer >= share * static_cast<double>(count_)) return std::min(axis.value(bin + 1), largest);
  }
  return largest;
}

}  // namespace korvel::host
