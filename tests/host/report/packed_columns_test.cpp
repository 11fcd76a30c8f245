#include "host/report/packed_columns.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "tests/host/report/page_data.h"

namespace korvel::host {
namespace {

using Limits = std::numeric_limits<float>;

// What comes out again has the bits of what went in, however many samples there are and wherever base64 ends.
TEST(PackedColumns, CurvesAndTimesAreExact) {
  std::mt19937 random(7);
  std::normal_distribution<float> normal;
  for (std::size_t samples = 1; samples < 40; ++samples) {
    std::vector<double> time(samples);
    std::vector<float> smooth(samples);
    std::vector<float> rough(samples);
    for (std::size_t s = 0; s < samples; ++s) {
      time[s] = 1e-3 * static_cast<double>(s) + 1e-9 * static_cast<double>(normal(random));
      smooth[s] = std::sin(0.1F * static_cast<float>(s));
      rough[s] = std::ldexp(normal(random), static_cast<int>(random() % 250) - 125);
    }
    smooth.back() = -0.0F;
    rough.front() = random() % 2 == 0 ? Limits::max() : Limits::lowest();
    rough.back() = Limits::denorm_min();

    PackedColumns packed(time);
    ASSERT_EQ(packed.add_exactly(smooth), 0);
    ASSERT_EQ(packed.add_exactly(rough), 1);
    const Unpacked unpacked(packed.text(), samples);
    EXPECT_EQ(unpacked.time(), time);
    EXPECT_EQ(unpacked.exact(0), smooth);
    EXPECT_TRUE(std::signbit(unpacked.exact(0).back()));
    EXPECT_EQ(unpacked.exact(1), rough);
  }
}

// Within 8 micrometres, or where a column has values beyond 16 km, better than single precision.
TEST(PackedColumns, PointsAreNear) {
  for (const float size : {0.0F, 1e-3F, 1.0F, 16383.9F, 1e6F, 1e37F, Limits::max()}) {
    const std::vector<float> values{size, -size, 0.3F * size, 0.0F, -0.77F * size, size};
    PackedColumns packed({0, 1, 2, 3, 4, 5});
    const auto [column, unit] = packed.add_rounded(values);
    const std::vector<double> found = Unpacked(packed.text(), values.size()).rounded(column, unit);
    const double tolerance = std::max(std::ldexp(1, -17), std::ldexp(static_cast<double>(size), -30));
    for (std::size_t i = 0; i < values.size(); ++i) EXPECT_NEAR(found[i], static_cast<double>(values[i]), tolerance);
  }
}

}  // namespace
}  // namespace korvel::host
