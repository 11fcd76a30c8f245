#pragma once

/// Sine and cosine of the joint angles: each is the value in double precision, rounded once to float. Up to 8192 that
/// is the float nearest to the true value. Every joint angle comes through here, all of a pass in one batch.
///
/// The angle is reduced by multiples of pi/2 in two steps (W. J. Cody, W. Waite, Software Manual for the Elementary
/// Functions, 1980), then sine and cosine are minimax polynomials in double precision, of degree 13 and 14. Batches
/// with an angle beyond the bound, or with one that is not finite, go to the C runtime.

#include <cstddef>
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

/// Of pairs of angles, each reduced by n times pi/2. All pairs take a step before any takes the next: a processor that
/// waits for the result of one has the others to do.
template <std::size_t pairs>
void sine_cosine_of_reduced(const Double2 (&angle)[pairs], const Double2 (&n)[pairs], Double2 (&sine)[pairs],
                            Double2 (&cosine)[pairs]) noexcept {
  // Forgetting where the pointer comes from makes every use an operand in memory: there are more constants than
  // registers, and a compiler that tries to keep them spends an instruction in four on moving them.
  const auto* k = &sine_cosine_constants;
  asm("" : "+r"(k));
  const auto each = [](const auto& step) {
    for (std::size_t i = 0; i < pairs; ++i) step(i);
  };
  Double2 r[pairs];
  Double2 z[pairs];
  each([&](auto i) { r[i] = (angle[i] - n[i] * k->half_pi_high) - n[i] * k->half_pi_low; });
  each([&](auto i) { z[i] = r[i] * r[i]; });

  const auto& s = k->sine;
  each([&](auto i) { sine[i] = s[6] * z[i] + s[5]; });
  for (int j = 4; j >= 0; --j) each([&](auto i) { sine[i] = sine[i] * z[i] + s[j]; });
  each([&](auto i) { sine[i] = sine[i] * r[i]; });

  const auto& c = k->cosine;
  each([&](auto i) { cosine[i] = c[7] * z[i] + c[6]; });
  for (int j = 5; j >= 0; --j) each([&](auto i) { cosine[i] = cosine[i] * z[i] + c[j]; });
}

}  // namespace internal

/// Of `count` packs of angles [rad].
template <std::size_t count>
void sine_cosine(const Pack (&angles)[count], Pack (&sines)[count], Pack (&cosines)[count]) noexcept {
  using namespace internal;
  Int4 beyond{};
  for (const Pack& angle : angles) beyond |= (Int4(angle.v) & 0x7fffffff) >= Int4(Pack(sine_cosine_bound).v);
  if ((Long2(beyond)[0] | Long2(beyond)[1]) != 0) {
    for (std::size_t i = 0; i < count; ++i) {
      const auto [sine, cosine] = sine_cosine_lane_by_lane(angles[i]);
      sines[i] = sine;
      cosines[i] = cosine;
    }
    return;
  }

  // A quotient that float rounds to the wrong side leaves a little more than pi/4, which the polynomials bear.
  const auto& k = sine_cosine_constants;
  const auto low = [](const Pack& p) { return Double2{static_cast<double>(p[0]), static_cast<double>(p[1])}; };
  const auto high = [](const Pack& p) { return Double2{static_cast<double>(p[2]), static_cast<double>(p[3])}; };
  Pack shifted[count];
  Double2 angle[2 * count];
  Double2 n[2 * count];
  for (std::size_t i = 0; i < count; ++i) {
    shifted[i] = angles[i] * k.two_over_pi + k.to_integer;
    const Pack whole = shifted[i] - k.to_integer;
    angle[2 * i] = low(angles[i]);
    angle[2 * i + 1] = high(angles[i]);
    n[2 * i] = low(whole);
    n[2 * i + 1] = high(whole);
  }
  Double2 reduced_sine[2 * count];
  Double2 reduced_cosine[2 * count];
  sine_cosine_of_reduced(angle, n, reduced_sine, reduced_cosine);

  const auto rounded = [](const Double2& a, const Double2& b) {
    return UInt4(Pack::Vector{static_cast<float>(a[0]), static_cast<float>(a[1]), static_cast<float>(b[0]),
                              static_cast<float>(b[1])});
  };
  for (std::size_t i = 0; i < count; ++i) {
    const UInt4 sine = rounded(reduced_sine[2 * i], reduced_sine[2 * i + 1]);
    const UInt4 cosine = rounded(reduced_cosine[2 * i], reduced_cosine[2 * i + 1]);
    // Of r + n pi/2 from those of r: exchanged if n is odd, negated in two quadrants each.
    const UInt4 bit0 = UInt4(shifted[i].v) << 31;
    const UInt4 bit1 = UInt4(shifted[i].v) << 30;
    const UInt4 sign = UInt4{} + 0x80000000U;
    const UInt4 exchange = (sine ^ cosine) & UInt4(Int4(bit0) >> 31);
    sines[i] = Pack(Pack::Vector((sine ^ exchange) ^ (bit1 & sign)));
    cosines[i] = Pack(Pack::Vector((cosine ^ exchange) ^ ((bit1 ^ bit0) & sign)));
  }
}

/// Of four angles.
inline SineCosineT<Pack> sine_cosine(Pack angle) noexcept {
  const Pack angles[1]{angle};
  Pack sines[1], cosines[1];
  sine_cosine(angles, sines, cosines);
  return {sines[0], cosines[0]};
}

/// Of angles first to last - 1 of an array, to the same places of two others, eight at a time. `last` is at least
/// eight; if their number is no multiple of eight, places before are read and written too.
inline void sine_cosine(const float* angles, float* sines, float* cosines, int first, int last) noexcept {
  constexpr int step = 2 * Pack::lanes;
  for (int i = first; i < last; i += step) {
    const int start = i <= last - step ? i : last - step;
    const Pack angle[]{load(angles + start), load(angles + start + Pack::lanes)};
    Pack sine[2];
    Pack cosine[2];
    sine_cosine(angle, sine, cosine);
    store(sines + start, sine[0]);
    store(sines + start + Pack::lanes, sine[1]);
    store(cosines + start, cosine[0]);
    store(cosines + start + Pack::lanes, cosine[1]);
  }
}

}  // namespace metapod::Spatial
