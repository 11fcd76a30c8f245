#pragma once

/// Floats side by side as one scalar. Every operation works lane by lane in IEEE single precision, so a formula over
/// packs gives in each lane the bits that it gives over floats, whatever their number.

#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

#include "metapod/spatial/scalar.h"

namespace metapod::Spatial {

/// The compiler's vector of n values.
template <typename Value, int n>
struct VectorOfLanes {
  using type __attribute__((vector_size(n * sizeof(Value)))) = Value;
};
template <typename Value, int n>
using Lanes = typename VectorOfLanes<Value, n>::type;

template <int n>
struct PackOf {
  using Vector = Lanes<float, n>;
  static constexpr int lanes = n;

  Vector v;

  PackOf() = default;
  explicit constexpr PackOf(const Vector& vector) noexcept : v(vector) {}
  /// The same in every lane.
  explicit constexpr PackOf(float x) noexcept : PackOf(x, std::make_index_sequence<std::size_t{n}>{}) {}
  constexpr PackOf(float a, float b, float c, float d) noexcept : v{a, b, c, d} {
    static_assert(n == 4, "one number for each lane");
  }

  float operator[](int lane) const noexcept { return v[lane]; }

  friend PackOf operator+(const PackOf& a, const PackOf& b) noexcept { return PackOf(a.v + b.v); }
  friend PackOf operator-(const PackOf& a, const PackOf& b) noexcept { return PackOf(a.v - b.v); }
  friend PackOf operator*(const PackOf& a, const PackOf& b) noexcept { return PackOf(a.v * b.v); }
  friend PackOf operator/(const PackOf& a, const PackOf& b) noexcept { return PackOf(a.v / b.v); }
  friend PackOf operator-(const PackOf& a) noexcept { return PackOf(-a.v); }

 private:
  template <std::size_t... lane>
  constexpr PackOf(float x, std::index_sequence<lane...>) noexcept : v{(static_cast<void>(lane), x)...} {}
};

/// What stands in the lanes of a node: limbs.
using Pack = PackOf<4>;
static_assert(std::is_trivial_v<Pack> && sizeof(Pack) == 16);

/// As many consecutive floats.
template <int n = Pack::lanes>
PackOf<n> load(const float* from) noexcept {
  PackOf<n> pack;
  std::memcpy(&pack, from, sizeof pack);
  return pack;
}

/// The first `count` lanes to consecutive floats; all unless told.
template <int count = 0, int n>
void store(float* to, const PackOf<n>& pack) noexcept {
  constexpr std::size_t lanes = count == 0 ? n : count;
  std::memcpy(to, &pack, lanes * sizeof(float));
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
