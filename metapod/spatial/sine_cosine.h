#pragma once

/// Sine and cosine of the joint angles: each is the value in double precision, rounded once to float. Up to 8192 that
/// is the float nearest to the true value. Every joint angle comes through here, all of a pass in one batch.
///
/// The angle is reduced by multiples of pi/2 in two steps (W. J. Cody, W. Waite, Software Manual for the Elementary
/// Functions, 1980), then sine and cosine are minimax polynomials in double precision, of degree 13 and 14. Packs with
/// an angle beyond the bound, or with one that is not finite, go to the C runtime.

#include <cstdint>

#include "metapod/spatial/pack.h"

namespace metapod::Spatial {

template <typename Scalar>
struct SineCosineT {
  Scalar sine;
  Scalar cosine;
};

namespace internal {

using Double2 __attribute__((vector_size(16))) = double;
using Int4 __attribute__((vector_size(16))) = std::int32_t;
using UInt4 __attribute__((vector_size(16))) = std::uint32_t;
using Long2 __attribute__((vector_size(16))) = std::int64_t;

/// Up to here n pi/2 is exact enough: n needs no more than 16 bits.
inline constexpr float sine_cosine_bound = 1e5F;

/// Defined out of sight on purpose: compilers that see the values make each vector anew from a scalar, at the cost of
/// an instruction for every use.
struct SineCosineConstants {
  Pack two_over_pi;
  Pack to_integer;  ///< 1.5 2^23: adding it rounds to a whole number and leaves that in the low bits
  Double2 half_pi_high, half_pi_low;
  Double2 sine[7];    ///< coefficients of r, r^3, ... r^13
  Double2 cosine[8];  ///< coefficients of 1, r^2, ... r^14
};
extern const SineCosineConstants sine_cosine_constants;

[[gnu::cold]] SineCosineT<Pack> sine_cosine_lane_by_lane(Pack angle) noexcept;

/// Of two angles, reduced by n times pi/2.
inline SineCosineT<Double2> sine_cosine_of_reduced(Double2 angle, Double2 n) noexcept {
  // Forgetting where the pointer comes from makes every use an operand in memory: there are more constants than
  // registers, and a compiler that tries to keep them spends an instruction in four on moving them.
  const auto* k = &sine_cosine_constants;
  asm("" : "+r"(k));
  const Double2 r = (angle - n * k->half_pi_high) - n * k->half_pi_low;
  const Double2 z = r * r;
  const auto& s = k->sine;
  const auto& c = k->cosine;
  const Double2 sine_by_r = (((((s[6] * z + s[5]) * z + s[4]) * z + s[3]) * z + s[2]) * z + s[1]) * z + s[0];
  const Double2 cosine = ((((((c[7] * z + c[6]) * z + c[5]) * z + c[4]) * z + c[3]) * z + c[2]) * z + c[1]) * z + c[0];
  return {sine_by_r * r, cosine};
}

}  // namespace internal

/// Of four angles [rad].
inline SineCosineT<Pack> sine_cosine(Pack angle) noexcept {
  using namespace internal;
  const Int4 magnitude = Int4(angle.v) & 0x7fffffff;
  const auto beyond = Long2(magnitude >= Int4(Pack(sine_cosine_bound).v));
  if ((beyond[0] | beyond[1]) != 0) return sine_cosine_lane_by_lane(angle);

  // A quotient that float rounds to the wrong side leaves a little more than pi/4, which the polynomials bear.
  const auto& k = sine_cosine_constants;
  const Pack shifted = angle * k.two_over_pi + k.to_integer;
  const Pack n = shifted - k.to_integer;

  const auto low = [](const Pack& p) { return Double2{static_cast<double>(p[0]), static_cast<double>(p[1])}; };
  const auto high = [](const Pack& p) { return Double2{static_cast<double>(p[2]), static_cast<double>(p[3])}; };
  const auto first = sine_cosine_of_reduced(low(angle), low(n));
  const auto second = sine_cosine_of_reduced(high(angle), high(n));
  const auto rounded = [](const Double2& a, const Double2& b) {
    return UInt4(Pack::Vector{static_cast<float>(a[0]), static_cast<float>(a[1]), static_cast<float>(b[0]),
                              static_cast<float>(b[1])});
  };
  const UInt4 sine = rounded(first.sine, second.sine);
  const UInt4 cosine = rounded(first.cosine, second.cosine);

  // Of r + n pi/2 from those of r: exchanged if n is odd, negated in two quadrants each.
  const UInt4 bit0 = UInt4(shifted.v) << 31;
  const UInt4 bit1 = UInt4(shifted.v) << 30;
  const UInt4 sign = UInt4{} + 0x80000000U;
  const UInt4 exchange = (sine ^ cosine) & UInt4(Int4(bit0) >> 31);
  return {Pack(Pack::Vector((sine ^ exchange) ^ (bit1 & sign))),
          Pack(Pack::Vector((cosine ^ exchange) ^ ((bit1 ^ bit0) & sign)))};
}

/// Of angles first to last - 1 of an array, to the same places of two others. `last` is at least four; of fewer than
/// four angles, places before `first` are read and written too.
inline void sine_cosine(const float* angles, float* sines, float* cosines, int first, int last) noexcept {
  for (int i = first; i < last; i += Pack::lanes) {
    const int start = i <= last - Pack::lanes ? i : last - Pack::lanes;
    const auto [sine, cosine] = sine_cosine(load(angles + start));
    store(sines + start, sine);
    store(cosines + start, cosine);
  }
}

}  // namespace metapod::Spatial
