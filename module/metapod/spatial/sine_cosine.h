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

/// Half as many doubles as a pack has floats: a pack's angles are two vectors of them.
template <int n>
using HalfOf = Lanes<double, n / 2>;
template <int n>
using IntsOf = Lanes<std::int32_t, n>;
template <int n>
using UIntsOf = Lanes<std::uint32_t, n>;

/// The values are defined out of sight on purpose: compilers that see them make each vector anew from a scalar, at the
/// cost of an instruction for every use.
template <int n>
struct SineCosineConstants {
  PackOf<n> two_over_pi;
  PackOf<n> to_integer;  ///< 1.5 2^23: adding it rounds to a whole number and leaves that in the low bits
  HalfOf<n> half_pi_high, half_pi_low;
  HalfOf<n> sine[7];    ///< coefficients of r, r^3, ... r^13
  HalfOf<n> cosine[8];  ///< coefficients of 1, r^2, ... r^14

  static const SineCosineConstants values;
};
extern template struct SineCosineConstants<Pack::lanes>;

template <int n>
[[gnu::cold]] SineCosineT<PackOf<n>> sine_cosine_lane_by_lane(PackOf<n> angle) noexcept;

/// All bits of the lanes whose angle the polynomials do not take.
template <int n>
IntsOf<n> beyond_bound(PackOf<n> angle) noexcept {
  return (IntsOf<n>(angle.v) & 0x7fffffff) >= IntsOf<n>(PackOf<n>(sine_cosine_bound).v);
}

template <typename Ints>
bool any(const Ints& lanes) noexcept {
  constexpr int words = sizeof(Ints) / sizeof(std::int64_t);
  const auto as_words = Lanes<std::int64_t, words>(lanes);
  std::int64_t bits = 0;
  for (int i = 0; i < words; ++i) bits |= as_words[i];
  return bits != 0;
}

/// The angles of a pack less n times pi/2.
template <int lanes>
struct ReducedAngles {
  HalfOf<lanes> low, high;  ///< of the first half of the lanes, of the second
  UIntsOf<lanes> n;         ///< in the low bits
};

template <int lanes>
ReducedAngles<lanes> reduced(PackOf<lanes> angle) noexcept {
  // A quotient that float rounds to the wrong side leaves a little more than pi/4, which the polynomials bear.
  const auto& k = SineCosineConstants<lanes>::values;
  const PackOf<lanes> shifted = angle * k.two_over_pi + k.to_integer;
  const PackOf<lanes> n = shifted - k.to_integer;
  if constexpr (lanes == 4) {
    const auto low = [](const Pack& p) { return HalfOf<4>{static_cast<double>(p[0]), static_cast<double>(p[1])}; };
    const auto high = [](const Pack& p) { return HalfOf<4>{static_cast<double>(p[2]), static_cast<double>(p[3])}; };
    return {(low(angle) - low(n) * k.half_pi_high) - low(n) * k.half_pi_low,
            (high(angle) - high(n) * k.half_pi_high) - high(n) * k.half_pi_low, UIntsOf<lanes>(shifted.v)};
  } else {
    // One vector of twice the size of a register, because compilers split the halves of packs in detours.
    using Doubles = Lanes<double, lanes>;
    const auto x = __builtin_convertvector(angle.v, Doubles);
    const auto m = __builtin_convertvector(n.v, Doubles);
    const Doubles r = (x - m * k.half_pi_high[0]) - m * k.half_pi_low[0];
    ReducedAngles<lanes> result;
    std::memcpy(&result, &r, sizeof r);
    result.n = UIntsOf<lanes>(shifted.v);
    return result;
  }
}

/// Computes the sines of `count` packs. All take a step of a polynomial before any takes the next, so that the
/// processor works on the others while it waits for one result.
template <std::size_t count, int n>
void sine_cosine_of_reduced(const ReducedAngles<n>* angles, PackOf<n> (&sines)[count],
                            PackOf<n> (&cosines)[count]) noexcept {
  // Forgetting where the pointer comes from makes every use an operand in memory: there are more constants than
  // registers, and a compiler that tries to keep them spends an instruction in four on moving them.
  const auto* k = &SineCosineConstants<n>::values;
  asm("" : "+r"(k));
  constexpr std::size_t pairs = 2 * count;
  const auto each = [](const auto& step) {
    for (std::size_t i = 0; i < pairs; ++i) step(i);
  };
  const auto r = [&](std::size_t i) { return i % 2 == 0 ? angles[i / 2].low : angles[i / 2].high; };
  HalfOf<n> z[pairs];
  each([&](auto i) { z[i] = r(i) * r(i); });

  const auto& s = k->sine;
  HalfOf<n> sine[pairs];
  each([&](auto i) { sine[i] = s[6] * z[i] + s[5]; });
  for (int j = 4; j >= 0; --j) each([&](auto i) { sine[i] = sine[i] * z[i] + s[j]; });
  each([&](auto i) { sine[i] = sine[i] * r(i); });

  const auto& c = k->cosine;
  HalfOf<n> cosine[pairs];
  each([&](auto i) { cosine[i] = c[7] * z[i] + c[6]; });
  for (int j = 5; j >= 0; --j) each([&](auto i) { cosine[i] = cosine[i] * z[i] + c[j]; });

  using Ints = IntsOf<n>;
  using UInts = UIntsOf<n>;
  const auto rounded = [](const HalfOf<n>& a, const HalfOf<n>& b) {
    if constexpr (n == 4) {
      return UInts(Pack::Vector{static_cast<float>(a[0]), static_cast<float>(a[1]), static_cast<float>(b[0]),
                                static_cast<float>(b[1])});
    } else {
      using Half = PackOf<n / 2>;
      return UInts(joined(Half(__builtin_convertvector(a, typename Half::Vector)),
                          Half(__builtin_convertvector(b, typename Half::Vector)))
                       .v);
    }
  };
  for (std::size_t i = 0; i < count; ++i) {
    const UInts sin = rounded(sine[2 * i], sine[2 * i + 1]);
    const UInts cos = rounded(cosine[2 * i], cosine[2 * i + 1]);
    // Sine and cosine of r + n pi/2 follow from those of r: exchanged if n is odd, negated in two quadrants each.
    const UInts bit0 = angles[i].n << 31;
    const UInts bit1 = angles[i].n << 30;
    const UInts sign = UInts{} + 0x80000000U;
    const UInts exchange = (sin ^ cos) & UInts(Ints(bit0) >> 31);
    using Floats = typename PackOf<n>::Vector;
    sines[i] = PackOf<n>(Floats((sin ^ exchange) ^ (bit1 & sign)));
    cosines[i] = PackOf<n>(Floats((cos ^ exchange) ^ ((bit1 ^ bit0) & sign)));
  }
}

}  // namespace internal

/// Computes sine and cosine of the angles [rad] of a pack.
template <int n>
SineCosineT<PackOf<n>> sine_cosine(PackOf<n> angle) noexcept {
  using namespace internal;
  if (any(beyond_bound(angle))) return sine_cosine_lane_by_lane(angle);
  const ReducedAngles<n> r = reduced(angle);
  PackOf<n> sine[1];
  PackOf<n> cosine[1];
  sine_cosine_of_reduced(&r, sine, cosine);
  return {sine[0], cosine[0]};
}

/// Computes sine and cosine of `count` angles, at least two packs of n. All are reduced before the first polynomial.
template <int count, int n = Pack::lanes>
void sine_cosine(const float* angles, float* sines, float* cosines) noexcept {
  using namespace internal;
  static_assert(count >= 2 * n);
  constexpr int packs = (count + n - 1) / n;
  // The last ones overlap with those before if the count is no multiple.
  const auto place = [](int pack) { return std::min(pack * n, count - n); };
  ReducedAngles<n> r[static_cast<std::size_t>(packs)];
  IntsOf<n> beyond{};
  for (int i = 0; i < packs; ++i) {
    const auto angle = load<n>(angles + place(i));
    beyond |= beyond_bound(angle);
    r[i] = reduced(angle);
  }
  if (any(beyond)) {
    for (int i = 0; i < packs; ++i) {
      const auto [sine, cosine] = sine_cosine_lane_by_lane(load<n>(angles + place(i)));
      store(sines + place(i), sine);
      store(cosines + place(i), cosine);
    }
    return;
  }
  for (int i = 0; i < packs; i += 2) {
    const int first = std::min(i, packs - 2);
    PackOf<n> sine[2];
    PackOf<n> cosine[2];
    sine_cosine_of_reduced(r + first, sine, cosine);
    store(sines + place(first), sine[0]);
    store(sines + place(first + 1), sine[1]);
    store(cosines + place(first), cosine[0]);
    store(cosines + place(first + 1), cosine[1]);
  }
}

}  // namespace metapod::Spatial
