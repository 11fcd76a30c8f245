#pragma once

/// Sine and cosine of the joint angles: each is the value in double precision, rounded once to float. Up to 8192 that
/// is the float nearest to the true value. Every joint angle comes through here, those of a pass in one batch.
///
/// The angle is reduced by multiples of pi/2 in two steps (W. J. Cody, W. Waite, Software Manual for the Elementary
/// Functions, 1980), then sine and cosine are minimax polynomials in double precision, of degree 13 and 14. Batches
/// with an angle beyond the bound, or with one that is not finite, go to the C runtime.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "metapod/spatial/pack.h"

namespace metapod::Spatial {

template <typename Scalar>
struct SineCosineT {
  Scalar sine;
  Scalar cosine;
};

/// Up to here multiples of pi/2 are exact enough: their numbers need no more than 16 bits.
inline constexpr float sine_cosine_bound = 1e5F;

namespace internal {

using Double2 __attribute__((vector_size(16))) = double;
using Int4 __attribute__((vector_size(16))) = std::int32_t;
using UInt4 __attribute__((vector_size(16))) = std::uint32_t;
using Long2 __attribute__((vector_size(16))) = std::int64_t;

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

/// All bits of the lanes whose angle the polynomials do not take.
inline Int4 beyond_bound(Pack angle) noexcept {
  return (Int4(angle.v) & 0x7fffffff) >= Int4(Pack(sine_cosine_bound).v);
}

inline bool any(Int4 lanes) noexcept { return (Long2(lanes)[0] | Long2(lanes)[1]) != 0; }

/// Four angles less n times pi/2.
struct ReducedAngles {
  Double2 low, high;  ///< of lanes 0 and 1, of lanes 2 and 3
  UInt4 n;            ///< in the low bits
};

inline ReducedAngles reduced(Pack angle) noexcept {
  // A quotient that float rounds to the wrong side leaves a little more than pi/4, which the polynomials bear.
  const auto& k = sine_cosine_constants;
  const Pack shifted = angle * k.two_over_pi + k.to_integer;
  const Pack n = shifted - k.to_integer;
  const auto low = [](const Pack& p) { return Double2{static_cast<double>(p[0]), static_cast<double>(p[1])}; };
  const auto high = [](const Pack& p) { return Double2{static_cast<double>(p[2]), static_cast<double>(p[3])}; };
  return {(low(angle) - low(n) * k.half_pi_high) - low(n) * k.half_pi_low,
          (high(angle) - high(n) * k.half_pi_high) - high(n) * k.half_pi_low, UInt4(shifted.v)};
}

/// Of `count` packs. All take a step of a polynomial before any takes the next: a processor that waits for the result
/// of one has the others to do.
template <std::size_t count>
void sine_cosine_of_reduced(const ReducedAngles* angles, Pack (&sines)[count], Pack (&cosines)[count]) noexcept {
  // Forgetting where the pointer comes from makes every use an operand in memory: there are more constants than
  // registers, and a compiler that tries to keep them spends an instruction in four on moving them.
  const auto* k = &sine_cosine_constants;
  asm("" : "+r"(k));
  constexpr std::size_t pairs = 2 * count;
  const auto each = [](const auto& step) {
    for (std::size_t i = 0; i < pairs; ++i) step(i);
  };
  const auto r = [&](std::size_t i) { return i % 2 == 0 ? angles[i / 2].low : angles[i / 2].high; };
  Double2 z[pairs];
  each([&](auto i) { z[i] = r(i) * r(i); });

  const auto& s = k->sine;
  Double2 sine[pairs];
  each([&](auto i) { sine[i] = s[6] * z[i] + s[5]; });
  for (int j = 4; j >= 0; --j) each([&](auto i) { sine[i] = sine[i] * z[i] + s[j]; });
  each([&](auto i) { sine[i] = sine[i] * r(i); });

  const auto& c = k->cosine;
  Double2 cosine[pairs];
  each([&](auto i) { cosine[i] = c[7] * z[i] + c[6]; });
  for (int j = 5; j >= 0; --j) each([&](auto i) { cosine[i] = cosine[i] * z[i] + c[j]; });

  const auto rounded = [](const Double2& a, const Double2& b) {
    return UInt4(Pack::Vector{static_cast<float>(a[0]), static_cast<float>(a[1]), static_cast<float>(b[0]),
                              static_cast<float>(b[1])});
  };
  for (std::size_t i = 0; i < count; ++i) {
    const UInt4 sin = rounded(sine[2 * i], sine[2 * i + 1]);
    const UInt4 cos = rounded(cosine[2 * i], cosine[2 * i + 1]);
    // Of r + n pi/2 from those of r: exchanged if n is odd, negated in two quadrants each.
    const UInt4 bit0 = angles[i].n << 31;
    const UInt4 bit1 = angles[i].n << 30;
    const UInt4 sign = UInt4{} + 0x80000000U;
    const UInt4 exchange = (sin ^ cos) & UInt4(Int4(bit0) >> 31);
    sines[i] = Pack(Pack::Vector((sin ^ exchange) ^ (bit1 & sign)));
    cosines[i] = Pack(Pack::Vector((cos ^ exchange) ^ ((bit1 ^ bit0) & sign)));
  }
}

}  // namespace internal

/// Of four angles [rad].
inline SineCosineT<Pack> sine_cosine(Pack angle) noexcept {
  using namespace internal;
  if (any(beyond_bound(angle))) return sine_cosine_lane_by_lane(angle);
  const ReducedAngles r = reduced(angle);
  Pack sine[1];
  Pack cosine[1];
  sine_cosine_of_reduced(&r, sine, cosine);
  return {sine[0], cosine[0]};
}

/// Of `count` angles, at least eight. All are reduced before the first polynomial.
template <int count>
void sine_cosine(const float* angles, float* sines, float* cosines) noexcept {
  using namespace internal;
  static_assert(count >= 2 * Pack::lanes);
  constexpr int packs = (count + Pack::lanes - 1) / Pack::lanes;
  // The last ones overlap with those before if the count is no multiple.
  const auto place = [](int pack) { return std::min(pack * Pack::lanes, count - Pack::lanes); };
  ReducedAngles r[static_cast<std::size_t>(packs)];
  Int4 beyond{};
  for (int i = 0; i < packs; ++i) {
    const Pack angle = load(angles + place(i));
    beyond |= beyond_bound(angle);
    r[i] = reduced(angle);
  }
  if (any(beyond)) {
    for (int i = 0; i < packs; ++i) {
      const auto [sine, cosine] = sine_cosine_lane_by_lane(load(angles + place(i)));
      store(sines + place(i), sine);
      store(cosines + place(i), cosine);
    }
    return;
  }
  for (int i = 0; i < packs; i += 2) {
    const int first = std::min(i, packs - 2);
    Pack sine[2];
    Pack cosine[2];
    sine_cosine_of_reduced(r + first, sine, cosine);
    store(sines + place(first), sine[0]);
    store(sines + place(first + 1), sine[1]);
    store(cosines + place(first), cosine[0]);
    store(cosines + place(first + 1), cosine[1]);
  }
}

}  // namespace metapod::Spatial
