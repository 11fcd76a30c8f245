#include "host/timing/time_histogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace korvel::host {
namespace {

// Percentiles are those of the sorted times by nearest rank, at most the width of a bin too long, for few and for many
// times over all decades. Times that another histogram has counted are among them.
TEST(TimeHistogram, PercentilesAreThoseOfSortedTimes) {
  std::mt19937 generator(1);
  std::uniform_real_distribution<double> exponent(0, 11);
  std::normal_distribution<double> of_cycles(1.5e3, 100);
  for (const std::size_t count : {1U, 2U, 10U, 1000U, 100'000U}) {
    for (const bool spread : {true, false}) {
      TimeHistogram<std::size_t> histogram, later;
      std::vector<std::int64_t> times;
      for (std::size_t k = 0; k < count; ++k) {
        times.push_back(std::llround(spread ? std::pow(10, exponent(generator)) : of_cycles(generator)));
        (k < count / 3 ? histogram : later).add(times.back(), k);
      }
      histogram.add(later);
      const auto longest = std::max_element(times.begin(), times.end());
      EXPECT_EQ(histogram.count(), count);
      EXPECT_EQ(histogram.largest().ns, *longest);
      EXPECT_EQ(histogram.largest().place, static_cast<std::uint64_t>(longest - times.begin()));

      std::sort(times.begin(), times.end());
      for (const double share : {0.001, 0.5, 0.9, 0.99, 0.999, 1.0}) {
        const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(count)));
        const auto expected = static_cast<double>(times[rank - 1]);
        // An end of a bin is rounded, and may come to lie on the other side of a whole number.
        EXPECT_GE(histogram.percentile(share), expected * (1 - 1e-12)) << count << ' ' << share;
        EXPECT_LE(histogram.percentile(share), expected * 1.01) << count << ' ' << share;
      }
    }
  }
}

// Times shorter or longer than any bin count too.
TEST(TimeHistogram, TimesBeyondTheBinsAreCounted) {
  TimeHistogram<std::size_t> histogram;
  EXPECT_EQ(histogram.percentile(0.5), 0);
  EXPECT_EQ(histogram.largest().ns, 0);
  constexpr std::int64_t hour = 3'600'000'000'000;
  histogram.add(0, 5);
  EXPECT_EQ(histogram.percentile(1), 0);
  EXPECT_EQ(histogram.largest().place, 5U);
  histogram.add(hour, 7);
  histogram.add(hour, 9);
  EXPECT_EQ(histogram.count(), 3U);
  EXPECT_LE(histogram.percentile(0.3), 1);
  EXPECT_EQ(histogram.percentile(0.5), static_cast<double>(hour));
  EXPECT_EQ(histogram.largest().place, 7U) << "the first of that length";
}

}  // namespace
}  // namespace korvel::host
