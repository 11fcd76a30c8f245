#pragma once

/// Four floats side by side as one scalar. Every operation works lane by lane in IEEE single precision, so a formula
/// over packs gives in each lane the bits that it gives over floats.

#include <cstring>
#include <type_traits>

#include "metapod/spatial/scalar.h"

namespace metapod::Spatial {

struct Pack {
  using Vector __attribute__((vector_size(16))) = float;
  static constexpr int lanes = 4;

  Vector v;

  Pack() = default;
  explicit constexpr Pack(Vector vector) noexcept : v(vector) {}
  /// The same in every lane.
  explicit constexpr Pack(float x) noexcept : v{x, x, x, x} {}
  constexpr Pack(float a, float b, float c, float d) noexcept : v{a, b, c, d} {}

  float operator[](int lane) const noexcept { return v[lane]; }

  friend Pack operator+(Pack a, Pack b) noexcept { return Pack(a.v + b.v); }
  friend Pack operator-(Pack a, Pack b) noexcept { return Pack(a.v - b.v); }
  friend Pack operator*(Pack a, Pack b) noexcept { return Pack(a.v * b.v); }
  friend Pack operator/(Pack a, Pack b) noexcept { return Pack(a.v / b.v); }
  friend Pack operator-(Pack a) noexcept { return Pack(-a.v); }
};
static_assert(std::is_trivial_v<Pack> && sizeof(Pack) == 16);

/// Four consecutive floats.
inline Pack load(const float* from) noexcept {
  Pack::Vector v;
  std::memcpy(&v, from, sizeof v);
  return Pack(v);
}

/// The first `count` lanes to consecutive floats.
template <int count = Pack::lanes>
inline void store(float* to, const Pack& pack) noexcept {
  std::memcpy(to, &pack, count * sizeof(float));
}

/// Lanes i and j of a, then k and l of b.
template <int i, int j, int k, int l>
inline Pack shuffle(const Pack& a, const Pack& b) noexcept {
#if defined(__clang__)
  return Pack(__builtin_shufflevector(a.v, b.v, i, j, k + 4, l + 4));
#else
  using Index __attribute__((vector_size(16))) = int;
  return Pack(__builtin_shuffle(a.v, b.v, Index{i, j, k + 4, l + 4}));
#endif
}

/// The lanes of a whose bits are set, the others of b.
template <unsigned bits>
inline Pack select(const Pack& a, const Pack& b) noexcept {
  using Mask __attribute__((vector_size(16))) = int;
  constexpr Mask mask{bits & 1 ? -1 : 0, bits & 2 ? -1 : 0, bits & 4 ? -1 : 0, bits & 8 ? -1 : 0};
  return Pack(Pack::Vector((Mask(a.v) & mask) | (Mask(b.v) & ~mask)));
}

/// Lane l of the four packs becomes pack l.
inline void transpose(Pack& a, Pack& b, Pack& c, Pack& d) noexcept {
  const Pack ab_low = shuffle<0, 1, 0, 1>(a, b);
  const Pack ab_high = shuffle<2, 3, 2, 3>(a, b);
  const Pack cd_low = shuffle<0, 1, 0, 1>(c, d);
  const Pack cd_high = shuffle<2, 3, 2, 3>(c, d);
  a = shuffle<0, 2, 0, 2>(ab_low, cd_low);
  b = shuffle<1, 3, 1, 3>(ab_low, cd_low);
  c = shuffle<0, 2, 0, 2>(ab_high, cd_high);
  d = shuffle<1, 3, 1, 3>(ab_high, cd_high);
}

}  // namespace metapod::Spatial
