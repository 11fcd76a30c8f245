#include "host/report/thinning.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>

namespace korvel::host {
namespace {

constexpr std::size_t curves = 3;
constexpr std::size_t columns = 5;

/// Samples of random values, of few different ones so that some are equal.
std::vector<std::vector<float>> random_rows(std::size_t count) {
  std::mt19937 random(count);
  std::vector<std::vector<float>> rows(count, std::vector<float>(columns));
  for (auto& row : rows) {
    for (float& value : row) value = static_cast<float>(random() % (2 * count)) - static_cast<float>(count);
  }
  return rows;
}

double time_of(std::size_t number) { return 0.25 * static_cast<double>(number * number); }

/// Numbers of the first of the lowest and of the first of the highest values of each curve.
std::set<std::size_t> extremes(const std::vector<std::vector<float>>& rows) {
  std::set<std::size_t> numbers;
  for (std::size_t c = 0; c < curves; ++c) {
    const auto less = [c](const auto& a, const auto& b) { return a[c] < b[c]; };
    numbers.insert(static_cast<std::size_t>(std::min_element(rows.begin(), rows.end(), less) - rows.begin()));
    numbers.insert(static_cast<std::size_t>(std::max_element(rows.begin(), rows.end(), less) - rows.begin()));
  }
  return numbers;
}

// Every stride-th sample, the last and the extremes are kept as they were; the curves' bounds are those of all samples
// that one of them stands for.
TEST(Thinning, KeepsEvenlyAndEveryExtreme) {
  for (const std::size_t most : {1U, 2U, 7U, 16U}) {
    for (const std::size_t count : {1U, 2U, 3U, 8U, 15U, 16U, 17U, 32U, 33U, 127U, 128U, 129U, 1000U}) {
      SCOPED_TRACE(testing::Message() << count << " samples, " << most << " at most");
      const auto rows = random_rows(count);
      Thinning thinning(curves, most);
      for (std::size_t i = 0; i < count; ++i) thinning.add(time_of(i), rows[i]);
      ASSERT_EQ(thinning.count(), count);
      const std::size_t stride = thinning.stride();
      ASSERT_GE(stride * most, count);
      ASSERT_TRUE(stride == 1 || stride * most < 2 * count) << stride;

      std::set<std::size_t> expected = extremes(rows);
      expected.insert(count - 1);
      for (std::size_t i = 0; i < count; i += stride) expected.insert(i);
      const std::vector<KeptSample> kept = thinning.kept();
      ASSERT_EQ(kept.size(), expected.size());
      auto number = expected.begin();
      for (const KeptSample& sample : kept) {
        ASSERT_EQ(sample.number, *number++);
        EXPECT_EQ(sample.elapsed, time_of(sample.number));
        EXPECT_EQ(sample.values, rows[sample.number]);
        const std::size_t end = sample.number % stride == 0 ? sample.number + stride : sample.number + 1;
        for (std::size_t c = 0; c < curves; ++c) {
          float low = rows[sample.number][c];
          float high = low;
          for (std::size_t i = sample.number; i < std::min(end, count); ++i) {
            low = std::min(low, rows[i][c]);
            high = std::max(high, rows[i][c]);
          }
          EXPECT_EQ(sample.lows[c], low);
          EXPECT_EQ(sample.highs[c], high);
        }
      }
    }
  }
}

// A gap hides neither the extremes nor the bounds of the samples around it, and a curve may be nothing but gaps.
TEST(Thinning, GapsHaveNoExtremes) {
  const float gap = std::numeric_limits<float>::quiet_NaN();
  auto rows = random_rows(100);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (i % 3 == 0) rows[i][0] = gap;
    rows[i][1] = gap;
  }
  Thinning thinning(curves, 8);
  for (std::size_t i = 0; i < rows.size(); ++i) thinning.add(time_of(i), rows[i]);
  float lowest = 1e9F;
  float highest = -1e9F;
  for (const auto& row : rows) {
    if (!std::isnan(row[0])) lowest = std::min(lowest, row[0]);
    if (!std::isnan(row[0])) highest = std::max(highest, row[0]);
  }
  bool has_lowest = false;
  bool has_highest = false;
  for (const KeptSample& sample : thinning.kept()) {
    has_lowest = has_lowest || sample.values[0] <= lowest;
    has_highest = has_highest || sample.values[0] >= highest;
    EXPECT_FALSE(sample.lows[0] > sample.highs[0]);
    EXPECT_TRUE(std::isnan(sample.lows[1])) << "nothing but gaps";
  }
  EXPECT_TRUE(has_lowest && has_highest);
}

}  // namespace
}  // namespace korvel::host
