#include "metapod/spatial/sine_cosine.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "contract/states.h"

namespace korvel::tests {
namespace {

namespace Spatial = metapod::Spatial;

// A walk over every float compares the angles below the bound; these are the ones that go to the C runtime, alone and
// beside one that does not.
TEST(SineAndCosine, OfLargeAnglesAreThoseOfTheRuntime) {
  const float bound = Spatial::sine_cosine_bound;
  for (const float angle : {bound, -bound, 1.5F * bound, std::numeric_limits<float>::max()}) {
    const auto both = Spatial::sine_cosine(Spatial::Pack(angle, 1, -angle, 0));
    EXPECT_EQ(both.sine[0], static_cast<float>(std::sin(static_cast<double>(angle)))) << angle;
    EXPECT_EQ(both.cosine[2], static_cast<float>(std::cos(static_cast<double>(angle)))) << angle;
    EXPECT_EQ(both.sine[1], static_cast<float>(std::sin(1.0)));
    EXPECT_EQ(both.cosine[3], 1);
  }
  for (const float angle : {HUGE_VALF, -HUGE_VALF, std::nanf("")}) {
    const auto none = Spatial::sine_cosine(Spatial::Pack(0, angle, 1, 2));
    EXPECT_TRUE(std::isnan(none.sine[1]) && std::isnan(none.cosine[1])) << angle;
  }
}

/// Holds a batch to the runtime, and what stands behind its results to what it was.
template <int count>
void expect_those_of_the_runtime(const std::array<float, 40>& angles) {
  std::array<float, 40> sines{};
  std::array<float, 40> cosines{};
  Spatial::sine_cosine<count>(angles.data(), sines.data(), cosines.data());
  for (std::size_t i = 0; i < angles.size(); ++i) {
    const auto angle = static_cast<double>(angles[i]);
    const bool is_asked = i < static_cast<std::size_t>(count);
    EXPECT_EQ(sines[i], is_asked ? static_cast<float>(std::sin(angle)) : 0) << count << ' ' << i << ' ' << angle;
    EXPECT_EQ(cosines[i], is_asked ? static_cast<float>(std::cos(angle)) : 0) << count << ' ' << i << ' ' << angle;
  }
}

template <int... more>
void expect_of_counts_from_eight(const std::array<float, 40>& angles, std::integer_sequence<int, more...>) {
  (expect_those_of_the_runtime<8 + more>(angles), ...);
}

// The count may be any number, a multiple of the lanes or not. An angle that goes to the runtime, wherever it is, does
// not change its neighbours.
TEST(SineAndCosine, OfBatchesAreThoseOfTheRuntime) {
  Random random(1);
  for (std::size_t large = 0; large < 41; ++large) {
    std::array<float, 40> angles{};
    for (float& angle : angles) angle = random(large % 2 == 0 ? 4 : 100);
    if (large < angles.size()) angles[large] = 2 * Spatial::sine_cosine_bound;
    expect_of_counts_from_eight(angles, std::make_integer_sequence<int, 33>{});
  }
}

}  // namespace
}  // namespace korvel::tests
