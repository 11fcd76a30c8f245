#include "metapod/spatial/sine_cosine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace korvel::tests {
namespace {

namespace Spatial = metapod::Spatial;

// A walk over every float compares the angles below the bound; these are the ones that go to the C runtime, alone and
// beside one that does not.
TEST(SineAndCosine, OfLargeAnglesAreThoseOfTheRuntime) {
  const float bound = Spatial::internal::sine_cosine_bound;
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

}  // namespace
}  // namespace korvel::tests
