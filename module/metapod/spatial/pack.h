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
  explicit constexpr PackOf(Vector vector) noexcept : v(vector) {}
  /// The same in every lane.
  explicit constexpr PackOf(float x) noexcept : PackOf(x, std::make_index_sequence<std::size_t{n}>{}) {}
  constexpr PackOf(float a, float b, float c, float d) noexcept : v{a, b, c, d} {
    static_assert(n == 4, "one number for each lane");
  }

  float operator[](int lane) const noexcept { return v[lane]; }

  friend PackOf operator+(PackOf a, PackOf b) noexcept { return PackOf(a.v + b.v); }
  friend PackOf operator-(PackOf a, PackOf b) noexcept { return PackOf(a.v - b.v); }
  friend PackOf operator*(PackOf a, PackOf b) noexcept { return PackOf(a.v * b.v); }
  friend PackOf operator/(PackOf a, PackOf b) noexcept { return PackOf(a.v / b.v); }
  friend PackOf operator-(PackOf a) noexcept { return PackOf(-a.v); }

 private:
  template <std::size_t... lane>
  constexpr PackOf(float x, std::index_sequence<lane...>) noexcept : v{(static_cast<void>(lane), x)...} {}
};

/// The lanes of a node: its limbs.
using Pack = PackOf<4>;
static_assert(std::is_trivial_v<Pack> && sizeof(Pack) == 16);

/// Loads as many consecutive floats as there are lanes.
template <int n = Pack::lanes>
PackOf<n> load(const float* from) noexcept {
  typename PackOf<n>::Vector v;
  std::memcpy(&v, from, sizeof v);
  return PackOf<n>(v);
}

/// The first `count` lanes to consecutive floats; all unless told.
template <int count = 0, int n>
void store(float* to, const PackOf<n>& pack) noexcept {
  constexpr std::size_t lanes = count == 0 ? n : count;
  std::memcpy(to, &pack, lanes * sizeof(float));
}

namespace internal {

/// The template arguments say where each lane of the result comes from: the lanes of b are counted after those of a.
template <int n, int i, int j, int k, int l>
constexpr int source_of_lane(int lane) noexcept {
  constexpr int within[]{i, j, k + n, l + n};
  return lane / 4 * 4 + within[lane % 4];
}

template <int i, int j, int k, int l, int n, std::size_t... lane>
PackOf<n> shuffle(const PackOf<n>& a, const PackOf<n>& b, std::index_sequence<lane...>) noexcept {
#if defined(__clang__)
  return PackOf<n>(__builtin_shufflevector(a.v, b.v, source_of_lane<n, i, j, k, l>(static_cast<int>(lane))...));
#else
  return PackOf<n>(
      __builtin_shuffle(a.v, b.v, Lanes<int, n>{source_of_lane<n, i, j, k, l>(static_cast<int>(lane))...}));
#endif
}

}  // namespace internal

/// Takes from every four lanes i and j of a, then k and l of b.
template <int i, int j, int k, int l, int n>
PackOf<n> shuffle(const PackOf<n>& a, const PackOf<n>& b) noexcept {
  return internal::shuffle<i, j, k, l>(a, b, std::make_index_sequence<std::size_t{n}>{});
}

namespace internal {

template <int n, std::size_t... lane>
PackOf<2 * n> joined(const PackOf<n>& a, const PackOf<n>& b, std::index_sequence<lane...>) noexcept {
  return PackOf<2 * n>(__builtin_shufflevector(a.v, b.v, lane...));
}

}  // namespace internal

/// The lanes of a, then those of b.
template <int n>
PackOf<2 * n> joined(const PackOf<n>& a, const PackOf<n>& b) noexcept {
  return internal::joined(a, b, std::make_index_sequence<std::size_t{2 * n}>{});
}

/// The lanes of a whose bits are set, the others of b.
template <unsigned bits>
inline Pack select(const Pack& a, const Pack& b) noexcept {
  using Mask __attribute__((vector_size(16))) = int;
  constexpr Mask mask{bits & 1 ? -1 : 0, bits & 2 ? -1 : 0, bits & 4 ? -1 : 0, bits & 8 ? -1 : 0};
  return Pack(Pack::Vector((Mask(a.v) & mask) | (Mask(b.v) & ~mask)));
}

/// Transposes every four lanes: lane l of the four packs becomes pack l.
template <int n>
void transpose(PackOf<n>& a, PackOf<n>& b, PackOf<n>& c, PackOf<n>& d) noexcept {
  const PackOf<n> ab_low = shuffle<0, 1, 0, 1>(a, b);
  const PackOf<n> ab_high = shuffle<2, 3, 2, 3>(a, b);
  const PackOf<n> cd_low = shuffle<0, 1, 0, 1>(c, d);
  const PackOf<n> cd_high = shuffle<2, 3, 2, 3>(c, d);
  a = shuffle<0, 2, 0, 2>(ab_low, cd_low);
  b = shuffle<1, 3, 1, 3>(ab_low, cd_low);
  c = shuffle<0, 2, 0, 2>(ab_high, cd_high);
  d = shuffle<1, 3, 1, 3>(ab_high, cd_high);
}

}  // namespace metapod::Spatial
