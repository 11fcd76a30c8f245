#pragma once

namespace metapod::Spatial {

/// A number that is known to be zero when the program is built. It is a type of its own, so that formulas written out
/// in full drop the terms that it makes vanish; the remaining terms keep their order, and so their bits, signs of zeros
/// apart.
struct Zero {};

constexpr Zero operator-(Zero) noexcept { return {}; }
constexpr Zero operator+(Zero, Zero) noexcept { return {}; }
constexpr Zero operator-(Zero, Zero) noexcept { return {}; }
constexpr Zero operator*(Zero, Zero) noexcept { return {}; }

template <typename S>
constexpr S operator+(const S& a, Zero) noexcept {
  return a;
}
template <typename S>
constexpr S operator+(Zero, const S& b) noexcept {
  return b;
}
template <typename S>
constexpr S operator-(const S& a, Zero) noexcept {
  return a;
}
template <typename S>
constexpr S operator-(Zero, const S& b) noexcept {
  return -b;
}
template <typename S>
constexpr Zero operator*(const S&, Zero) noexcept {
  return {};
}
template <typename S>
constexpr Zero operator*(Zero, const S&) noexcept {
  return {};
}

/// Stored as an ordinary number, also where it is known to be zero.
template <typename Scalar>
constexpr Scalar dense(const Scalar& x) noexcept {
  return x;
}
template <typename Scalar>
constexpr Scalar dense(Zero) noexcept {
  return {};
}

}  // namespace metapod::Spatial
