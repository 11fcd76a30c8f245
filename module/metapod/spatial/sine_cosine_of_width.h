#pragma once

/// Definitions needed only by the one file that instantiates each width: the coefficients of the polynomials, and the
/// call of the C runtime.

#include "metapod/spatial/sine_cosine.h"

namespace metapod::Spatial::internal {

SineCosineT<float> sine_cosine_of_runtime(float angle) noexcept;

template <int n>
SineCosineT<PackOf<n>> sine_cosine_lane_by_lane(PackOf<n> angle) noexcept {
  SineCosineT<PackOf<n>> result{};
  for (int lane = 0; lane < n; ++lane) {
    const auto [sine, cosine] = sine_cosine_of_runtime(angle[lane]);
    result.sine.v[lane] = sine;
    result.cosine.v[lane] = cosine;
  }
  return result;
}

template <int n, std::size_t... lane>
constexpr HalfOf<n> in_every_lane(double x, std::index_sequence<lane...>) noexcept {
  return HalfOf<n>{(static_cast<void>(lane), x)...};
}
template <int n>
constexpr HalfOf<n> in_every_lane(double x) noexcept {
  return in_every_lane<n>(x, std::make_index_sequence<std::size_t{n} / 2>{});
}

template <int n>
const SineCosineConstants<n> SineCosineConstants<n>::values{
    PackOf<n>(0x1.45f306p-1F),
    PackOf<n>(0x1.8p23F),
    in_every_lane<n>(0x1.921fb54440000p+0),   // pi/2 to 37 bits, so that n times it is exact
    in_every_lane<n>(0x1.68c234c4c6629p-39),  // the rest of pi/2
    {in_every_lane<n>(1), in_every_lane<n>(-0x1.5555555555555p-3), in_every_lane<n>(0x1.1111111110babp-7),
     in_every_lane<n>(-0x1.a01a019e820acp-13), in_every_lane<n>(0x1.71de37946eb45p-19),
     in_every_lane<n>(-0x1.ae6008d0f0520p-26), in_every_lane<n>(0x1.5e0a4fb47ace3p-33)},
    {in_every_lane<n>(1), in_every_lane<n>(-0.5), in_every_lane<n>(0x1.5555555555555p-5),
     in_every_lane<n>(-0x1.6c16c16c16963p-10), in_every_lane<n>(0x1.a01a019f4ddfdp-16),
     in_every_lane<n>(-0x1.27e4fa16cc1bcp-22), in_every_lane<n>(0x1.1eeb67d014ecep-29),
     in_every_lane<n>(-0x1.907cd8f26aa3fp-37)}};

}  // namespace metapod::Spatial::internal
