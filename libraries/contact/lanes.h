#pragma once

/// Doubles side by side as one number. The text of contact is a template over its number: one double, or the doubles of
/// as many states. Every operation works lane by lane in IEEE double precision, so each lane has the bits that one
/// double has, whatever the number of lanes, and no lane depends on its neighbours.

#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>

#include "metapod/spatial/pack.h"
#include "metapod/spatial/vector3.h"

namespace korvel::contact {

/// One condition for each lane, all bits set where it is true.
template <int n>
struct MaskLanes {
  using Register = metapod::Spatial::Lanes<long long, n / 2>;
  Register low, high;

  friend MaskLanes operator&&(MaskLanes a, MaskLanes b) noexcept { return {a.low & b.low, a.high & b.high}; }
  friend MaskLanes operator||(MaskLanes a, MaskLanes b) noexcept { return {a.low | b.low, a.high | b.high}; }
  friend MaskLanes operator!(MaskLanes a) noexcept { return {~a.low, ~a.high}; }
};

/// Two registers, because a vector that is wider than a register goes by way of memory.
template <int n>
struct DoubleLanes {
  using Register = metapod::Spatial::Lanes<double, n / 2>;
  using Mask = MaskLanes<n>;
  Register low, high;

  DoubleLanes() = default;
  /// Copies by registers, because a load has to wait if its parts were stored separately.
  DoubleLanes(const DoubleLanes& other) noexcept : low(other.low), high(other.high) {}
  DoubleLanes& operator=(const DoubleLanes& other) noexcept {
    low = other.low;
    high = other.high;
    return *this;
  }
  ~DoubleLanes() = default;
  DoubleLanes(Register of_low, Register of_high) noexcept : low(of_low), high(of_high) {}
  /// The same in every lane.
  DoubleLanes(double x) noexcept : low(Register{} + x), high(Register{} + x) {}  // NOLINT: constants in formulas

  friend DoubleLanes operator+(DoubleLanes a, DoubleLanes b) noexcept { return {a.low + b.low, a.high + b.high}; }
  friend DoubleLanes operator-(DoubleLanes a, DoubleLanes b) noexcept { return {a.low - b.low, a.high - b.high}; }
  friend DoubleLanes operator*(DoubleLanes a, DoubleLanes b) noexcept { return {a.low * b.low, a.high * b.high}; }
  friend DoubleLanes operator/(DoubleLanes a, DoubleLanes b) noexcept { return {a.low / b.low, a.high / b.high}; }
  friend DoubleLanes operator-(DoubleLanes a) noexcept { return {-a.low, -a.high}; }
  friend Mask operator<(DoubleLanes a, DoubleLanes b) noexcept { return {a.low < b.low, a.high < b.high}; }
  friend Mask operator<=(DoubleLanes a, DoubleLanes b) noexcept { return {a.low <= b.low, a.high <= b.high}; }
  friend Mask operator>(DoubleLanes a, DoubleLanes b) noexcept { return b < a; }
  friend Mask operator>=(DoubleLanes a, DoubleLanes b) noexcept { return b <= a; }
  /// a where the condition is true, b elsewhere.
  friend DoubleLanes select(Mask where, DoubleLanes a, DoubleLanes b) noexcept {
    return {where.low ? a.low : b.low, where.high ? a.high : b.high};
  }
};

template <typename Number>
using MaskOf = decltype(std::declval<Number>() < std::declval<Number>());

template <typename Number>
inline constexpr int lane_count = sizeof(Number) / sizeof(double);

inline bool any(bool a) noexcept { return a; }
inline double select(bool where, double a, double b) noexcept { return where ? a : b; }
inline double square_root(double x) noexcept { return std::sqrt(x); }

template <typename Mask>
metapod::Spatial::Zero select(const Mask& /*where*/, metapod::Spatial::Zero, metapod::Spatial::Zero) noexcept {
  return {};
}
template <typename Mask, typename X, typename Y, typename Z>
metapod::Spatial::VectorOf<X, Y, Z> select(const Mask& where, const metapod::Spatial::VectorOf<X, Y, Z>& a,
                                           const metapod::Spatial::VectorOf<X, Y, Z>& b) noexcept {
  return {select(where, a.x, b.x), select(where, a.y, b.y), select(where, a.z, b.z)};
}

template <int n>
bool any(MaskLanes<n> a) noexcept {
  const typename MaskLanes<n>::Register together = a.low | a.high;
  long long bits = 0;
  for (int i = 0; i < n / 2; ++i) bits |= together[i];
  return bits != 0;
}

template <int n>
DoubleLanes<n> square_root(DoubleLanes<n> x) noexcept {
  for (int i = 0; i < n / 2; ++i) x.low[i] = __builtin_sqrt(x.low[i]);
  for (int i = 0; i < n / 2; ++i) x.high[i] = __builtin_sqrt(x.high[i]);
  return x;
}

template <typename Number>
Number smaller(const Number& a, const Number& b) noexcept {
  return select(a < b, a, b);
}
template <typename Number>
Number larger(const Number& a, const Number& b) noexcept {
  return select(a > b, a, b);
}

/// One lane of a number or of a condition.
inline double lane_of(const double& x, int /*lane*/) noexcept { return x; }
inline bool lane_of(const bool& x, int /*lane*/) noexcept { return x; }
template <int n>
double lane_of(const DoubleLanes<n>& x, int lane) noexcept {
  return lane < n / 2 ? x.low[lane] : x.high[lane - n / 2];
}
template <int n>
bool lane_of(const MaskLanes<n>& x, int lane) noexcept {
  return (lane < n / 2 ? x.low[lane] : x.high[lane - n / 2]) != 0;
}

template <typename Number>
void put_lane(Number& to, int lane, double value) noexcept {
  char* const target = reinterpret_cast<char*>(&to) + static_cast<std::size_t>(lane) * sizeof(double);
  std::memcpy(target, &value, sizeof value);
}

/// Copies one lane of a value that consists of numbers alone.
template <typename Number, typename Value>
void copy_lane(const Value& from, int lane_from, Value& to, int lane_to) noexcept {
  static_assert(sizeof(Value) % sizeof(Number) == 0);
  const char* source = reinterpret_cast<const char*>(&from) + static_cast<std::size_t>(lane_from) * sizeof(double);
  char* target = reinterpret_cast<char*>(&to) + static_cast<std::size_t>(lane_to) * sizeof(double);
  for (std::size_t i = 0; i < sizeof(Value); i += sizeof(Number)) std::memcpy(target + i, source + i, sizeof(double));
}

}  // namespace korvel::contact
