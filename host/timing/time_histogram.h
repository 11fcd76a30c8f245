#pragma once

#include <boost/histogram/axis/regular.hpp>
#include <boost/histogram/histogram.hpp>
#include <boost/histogram/storage_adaptor.hpp>
#include <cstdint>
#include <tuple>

namespace korvel::host {

/// Counts durations in `bins_per_decade` bins per power of ten from 1 ns to 100 s, so that a percentile is at most 1 %
/// too long. The longest is kept exactly.
class TimeHistogram {
 public:
  struct Largest {
    std::int64_t ns = 0;
    std::uint64_t place = 0;  ///< the first of that length; what a place is, whoever adds says
  };

  TimeHistogram();

  /// Allocates nothing. True if there was none as long.
  bool add(std::int64_t ns, std::uint64_t place) noexcept;  // NOLINT(bugprone-exception-escape): as at its body
  /// Adds the times of another one.
  void add(const TimeHistogram& other);

  std::uint64_t count() const { return count_; }
  /// Zero, at place zero, of an empty histogram.
  const Largest& largest() const { return largest_; }

  /// A time [ns] that at least that share, 0 < share <= 1, of all times do not exceed: the upper end of the bin in
  /// which the shortest such time lies, unless the largest is shorter. Zero of an empty histogram.
  double percentile(double share) const;

 private:
  static constexpr double shortest = 1;
  static constexpr int decades = 11;
  static constexpr int bins_per_decade = 252;  ///< 10^(1/252) is 1.0092

  using Axis = boost::histogram::axis::regular<double, boost::histogram::axis::transform::log>;
  using Counts = boost::histogram::dense_storage<std::uint64_t>;

  boost::histogram::histogram<std::tuple<Axis>, Counts> bins_;
  std::uint64_t count_ = 0;
  Largest largest_;
};

}  // namespace korvel::host
