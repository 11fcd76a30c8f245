// Walks pairs of floats and holds the angle of each, rounded to float, to the float nearest to the true angle: all
// quotients of 4096 floats from 1 to 2 and those between 1/8 and 16, in every quadrant, then random pairs.
//
// Usage: arctangent_walk [STRIDE]     all of them without a stride, one group in STRIDE with it
// The runtime's angle in extended precision is within one unit in its last place of the truth. Where all numbers within
// eight times that round to the same float, that float is the nearest; where they do not, MPFR decides.
// Exit status: 0 if every angle is the nearest, 1 otherwise, 2 for bad usage.

#include <mpfr.h>

#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <limits>

#include "contract/states.h"
#include "qzmath/arctangent.h"
#include "tests/proofs/every_float.h"

namespace {

using namespace QZ::Math::internal;
using korvel::bits_of;

enum : std::uint8_t { compared, by_mpfr, not_nearest };
using Counts = std::array<std::uint64_t, 3>;

struct Point {
  float y, x;
};

float mpfr_result(const Point& point) {
  mpfr_t y;
  mpfr_t x;
  mpfr_inits2(24, y, x, nullptr);  // a float's digits
  mpfr_set_flt(y, point.y, MPFR_RNDN);
  mpfr_set_flt(x, point.x, MPFR_RNDN);
  mpfr_atan2(y, y, x, MPFR_RNDN);
  const float result = mpfr_get_flt(y, MPFR_RNDN);
  mpfr_clears(y, x, nullptr);
  return result;
}

void compare(const Point (&points)[4], Counts& counts) {
  const auto ys = [&](int i) { return static_cast<double>(points[i].y); };
  const auto xs = [&](int i) { return static_cast<double>(points[i].x); };
  const Doubles y[]{{ys(0), ys(1)}, {ys(2), ys(3)}};
  const Doubles x[]{{xs(0), xs(1)}, {xs(2), xs(3)}};
  Doubles angles[pairs];
  angles_of_points(y, x, angles);
  for (int i = 0; i < 4; ++i) {
    const auto angle = static_cast<float>(angles[i / 2][i % 2]);
    const long double truth = std::atan2(static_cast<long double>(points[i].y), static_cast<long double>(points[i].x));
    constexpr long double slack = 8 * std::numeric_limits<long double>::epsilon();
    auto nearest = static_cast<float>(truth * (1 - slack));
    if (bits_of(nearest) != bits_of(static_cast<float>(truth * (1 + slack)))) {
      ++counts[by_mpfr];
      nearest = mpfr_result(points[i]);
    }
    ++counts[compared];
    if (bits_of(angle) == bits_of(nearest)) continue;
    std::printf("the angle of (x, y) = (%a, %a) is not nearest to the truth\n", xs(i), ys(i));
    ++counts[not_nearest];
  }
}

constexpr int dense = 4096;

/// A point of each quadrant.
void compare_quotient(float y, float x, Counts& counts) { compare({{y, x}, {y, -x}, {-y, x}, {-y, -x}}, counts); }

void compare_quotients_of(std::uint32_t which, Counts& counts) {
  const auto one_to_two = [](std::uint32_t i) { return 1 + static_cast<float>(i) / dense; };
  const float y = std::ldexp(one_to_two(which % dense), static_cast<int>(which / dense) - 3);
  for (std::uint32_t i = 0; i < dense; ++i) compare_quotient(y, one_to_two(i), counts);
}

void compare_random(std::uint32_t seed, Counts& counts) {
  korvel::Random random(seed);
  const auto draw = [&] { return std::ldexp(random.unit(), static_cast<int>(random.integer() % 61) - 30); };
  for (int i = 0; i < 1024; ++i) {
    const float y = draw();
    compare({{y, draw()}, {random.unit(), random.unit()}, {draw(), y}, {random.unit(), 1}}, counts);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::uint64_t step = korvel::stride_of(argc, argv);
  constexpr std::uint32_t exponents = 7;
  constexpr std::uint32_t seeds = 65536;
  // The seeds are walked after the dense quotients, which have one sign.
  const auto sum = korvel::of_floats<Counts>(exponents * dense + seeds, step,
                                             [](std::uint32_t i, std::uint32_t sign, Counts& counts) {
                                               if (i >= exponents * dense) {
                                                 compare_random((i - exponents * dense) ^ sign, counts);
                                               } else if (sign == 0) {
                                                 compare_quotients_of(i, counts);
                                               }
                                             });
  std::printf("%" PRIu64 " angles, %" PRIu64 " decided by MPFR, %" PRIu64 " are not nearest to the truth\n",
              sum[compared], sum[by_mpfr], sum[not_nearest]);
  return sum[not_nearest] == 0 ? 0 : 1;
}
