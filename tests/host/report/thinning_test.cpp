#include "host/report/thinning.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <random>
#include <set>

namespace korvel::host {
namespace {

constexpr std::size_t curves = 3;
constexpr std::size_t columns = 5;

/// Samples of random values, of few different ones so that some are equal. With gaps every third number of the first
/// curve is missing, and all of the second.
std::vector<std::vector<float>> random_rows(std::size_t count, bool gaps) {
  std::mt19937 random(count);
  std::vector<std::vector<float>> rows(count, std::vector<float>(columns));
  for (std::size_t i = 0; i < count; ++i) {
    for (float& value : rows[i]) value = static_cast<float>(random() % (2 * count)) - static_cast<float>(count);
    if (gaps && i % 3 == 0) rows[i][0] = std::numeric_limits<float>::quiet_NaN();
    if (gaps) rows[i][1] = std::numeric_limits<float>::quiet_NaN();
  }
  return rows;
}

/// Numbers that are missing are equal.
std::uint32_t bits(float value) {
  std::uint32_t result = 0;
  std::memcpy(&result, &value, sizeof(value));
  return result;
}

double time_of(std::size_t number) { return 0.25 * static_cast<double>(number * number); }

/// Numbers of the first of the lowest and of the first of the highest values of each curve.
std::set<std::size_t> extremes(const std::vector<std::vector<float>>& rows) {
  std::set<std::size_t> numbers;
  for (std::size_t c = 0; c < curves; ++c) {
    std::map<float, std::size_t> first;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (!std::isnan(rows[i][c])) first.emplace(rows[i][c], i);
    }
    if (!first.empty()) numbers.insert({first.begin()->second, first.rbegin()->second});
  }
  return numbers;
}

// Every stride-th sample, the last and the extremes are kept as they were; the curves' bounds are those of all samples
// that one of them stands for. A gap hides neither.
class Thinned : public testing::TestWithParam<bool> {};

TEST_P(Thinned, KeepsEvenlyAndEveryExtreme) {
  for (const std::size_t most : {1U, 2U, 7U, 16U}) {
    for (const std::size_t count : {1U, 2U, 3U, 8U, 15U, 16U, 17U, 32U, 33U, 127U, 128U, 129U, 1000U}) {
      SCOPED_TRACE(testing::Message() << count << " samples, " << most << " at most");
      const auto rows = random_rows(count, GetParam());
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
        for (std::size_t c = 0; c < columns; ++c) EXPECT_EQ(bits(sample.values[c]), bits(rows[sample.number][c]));
        const std::size_t end = sample.number % stride == 0 ? sample.number + stride : sample.number + 1;
        for (std::size_t c = 0; c < curves; ++c) {
          float low = rows[sample.number][c];
          float high = low;
          for (std::size_t i = sample.number; i < std::min(end, count); ++i) {
            low = std::fmin(low, rows[i][c]);
            high = std::fmax(high, rows[i][c]);
          }
          EXPECT_EQ(bits(sample.lows[c]), bits(low));
          EXPECT_EQ(bits(sample.highs[c]), bits(high));
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Gaps, Thinned, testing::Bool());

}  // namespace
}  // namespace korvel::host
