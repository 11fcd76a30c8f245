#pragma once

#include <algorithm>
#include <boost/histogram/axis/regular.hpp>
#include <boost/histogram/histogram.hpp>
#include <boost/histogram/make_histogram.hpp>
#include <boost/histogram/storage_adaptor.hpp>
#include <cmath>
#include <cstdint>
#include <tuple>

namespace korvel::host {

/// Counts durations in `bins_per_decade` bins per power of ten from 1 ns to 100 s, so that a percentile is at most 1 %
/// too long. The longest is kept exactly, with its place, a value of whatever type the caller has for places.
template <typename Place>
class TimeHistogram {
 public:
  struct Largest {
    std::int64_t ns = 0;
    Place place{};  ///< the first of that length
  };

  /// Allocates nothing.
  // NOLINTNEXTLINE(bugprone-exception-escape): an exception is thrown only for a wrong number of axes.
  void add(std::int64_t ns, const Place& place) noexcept {
    bins_(static_cast<double>(ns));
    keep_largest({ns, place});
    ++count_;
  }
  /// Adds the times of another one.
  void add(const TimeHistogram& other) {
    bins_ += other.bins_;
    keep_largest(other.largest_);
    count_ += other.count_;
  }

  std::uint64_t count() const { return count_; }
  /// Zero, at an empty place, of an empty histogram.
  const Largest& largest() const { return largest_; }

  /// A time [ns] that at least that share, 0 < share <= 1, of all times do not exceed: the upper end of the bin in
  /// which the shortest such time lies, unless the largest is shorter. Zero of an empty histogram.
  double percentile(double share) const {
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

 private:
  static constexpr double shortest = 1;
  static constexpr int decades = 11;
  static constexpr int bins_per_decade = 252;  ///< 10^(1/252) is 1.0092

  using Axis = boost::histogram::axis::regular<double, boost::histogram::axis::transform::log>;
  using Counts = boost::histogram::dense_storage<std::uint64_t>;

  void keep_largest(const Largest& other) noexcept {
    if (count_ == 0 || other.ns > largest_.ns) largest_ = other;
  }

  boost::histogram::histogram<std::tuple<Axis>, Counts> bins_ = boost::histogram::make_histogram_with(
      Counts(), Axis(decades* bins_per_decade, shortest, shortest* std::pow(10, decades)));
  std::uint64_t count_ = 0;
  Largest largest_;
};

}  // namespace korvel::host
