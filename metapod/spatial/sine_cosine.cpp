#include "metapod/spatial/sine_cosine.h"

#include <math.h>  // NOLINT: sincos, which <cmath> does not promise

namespace metapod::Spatial {

namespace {

SineCosineT<float> sine_cosine_of_runtime(float angle) noexcept {
  double sine = 0;
  double cosine = 0;
  ::sincos(static_cast<double>(angle), &sine, &cosine);
  return {static_cast<float>(sine), static_cast<float>(cosine)};
}

}  // namespace

namespace internal {

SineCosineT<Pack> sine_cosine_lane_by_lane(Pack angle) noexcept {
  const auto a = sine_cosine_of_runtime(angle[0]);
  const auto b = sine_cosine_of_runtime(angle[1]);
  const auto c = sine_cosine_of_runtime(angle[2]);
  const auto d = sine_cosine_of_runtime(angle[3]);
  return {{a.sine, b.sine, c.sine, d.sine}, {a.cosine, b.cosine, c.cosine, d.cosine}};
}

namespace {

constexpr Double2 twice(double x) { return Double2{x, x}; }

}  // namespace

const SineCosineConstants sine_cosine_constants{
    Pack(0x1.45f306p-1F),
    Pack(0x1.8p23F),
    twice(0x1.921fb54440000p+0),   // pi/2 to 37 bits, so that n times it is exact
    twice(0x1.68c234c4c6629p-39),  // the rest of pi/2
    {twice(1), twice(-0x1.5555555555555p-3), twice(0x1.1111111110babp-7), twice(-0x1.a01a019e820acp-13),
     twice(0x1.71de37946eb45p-19), twice(-0x1.ae6008d0f0520p-26), twice(0x1.5e0a4fb47ace3p-33)},
    {twice(1), twice(-0.5), twice(0x1.5555555555555p-5), twice(-0x1.6c16c16c16963p-10), twice(0x1.a01a019f4ddfdp-16),
     twice(-0x1.27e4fa16cc1bcp-22), twice(0x1.1eeb67d014ecep-29), twice(-0x1.907cd8f26aa3fp-37)}};

}  // namespace internal

}  // namespace metapod::Spatial
