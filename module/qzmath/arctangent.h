#pragma once

/// Angles of points (x, y), four side by side, in double precision: their errors are near half a unit of the last
/// place, so that rounded to float they are but for one in some hundred millions what the true angles are rounded to.
///
/// The quotient of the smaller by the larger coordinate is turned back by pi/4 where that makes it smaller, so that it
/// is at most tan(pi/8); then the arctangent is a minimax polynomial of degree 23 (E. Remez, 1934), and a multiple of
/// pi/4 in two parts is put back (W. J. Cody, W. Waite, Software Manual for the Elementary Functions, 1980).

#include <cstdint>
#include <cstring>

namespace QZ::Math::internal {

using Doubles [[gnu::vector_size(16)]] = double;
using Bits [[gnu::vector_size(16)]] = std::int64_t;

constexpr int pairs = 2;

inline Doubles same(double x) noexcept { return Doubles{x, x}; }
inline Doubles select(Bits where, Doubles a, Doubles b) noexcept {
  return Doubles((where & Bits(a)) | (~where & Bits(b)));
}

/// angle[i] from the positive x axis to the point (x[i], y[i]), from -pi to pi. Signs of zeros count as std::atan2 has
/// them; of a point that is not finite it is not a number, unless y is infinite alone.
inline void angles_of_points(const Doubles (&y)[pairs], const Doubles (&x)[pairs], Doubles (&angle)[pairs]) noexcept {
  constexpr double quarter_high = 0x1.921fb54442dp-1;  // of pi; multiples up to 4 are exact
  constexpr double quarter_low = 0x1.8469898cc517p-49;
  constexpr double eighth_tangent = 0x1.a827999fcef32p-2;  // of pi
  // Coefficients of P in 1 + z P(z), where z is the square of the tangent.
  constexpr double P[] = {-0x1.555555555553dp-2, 0x1.99999999957c0p-3, -0x1.24924922a9f09p-3, 0x1.c71c70e4e77eep-4,
                          -0x1.745cf8bee325ep-4, 0x1.3b111740a92dfp-4, -0x1.10eba4e73fb32p-4, 0x1.df0e460851b6cp-5,
                          -0x1.9cce721981239p-5, 0x1.37cb64cddc0abp-5, -0x1.255522d486499p-6};
  const Bits sign = Bits(same(-0.0));
  for (int i = 0; i < pairs; ++i) {
    const Doubles x_size = Doubles(Bits(x[i]) & ~sign);
    const Doubles y_size = Doubles(Bits(y[i]) & ~sign);
    const Bits is_steep = y_size > x_size;
    const Doubles less = select(is_steep, x_size, y_size);
    const Doubles more = select(is_steep, y_size, x_size);
    const Bits is_turned = less > same(eighth_tangent) * more;
    const Doubles dividend = select(is_turned, less - more, less);
    const Doubles divisor = select(is_turned, less + more, more);
    // Both are 0 at the origin alone; floats and their products are larger.
    const Doubles t = dividend / select(divisor < same(0x1p-400), same(1), divisor);

    const Doubles z = t * t;
    const Doubles z2 = z * z;
    const Doubles z4 = z2 * z2;
    const auto pair = [&](int k) { return same(P[k]) + same(P[k + 1]) * z; };
    const Doubles low = (pair(0) + z2 * pair(2)) + z4 * (pair(4) + z2 * pair(6));
    const Doubles arctangent = t + (t * z) * (low + (z4 * z4) * (pair(8) + z2 * same(P[10])));

    // The multiple k of pi/4, and the sign with which the arctangent is added: 0 or 1 counted from the x axis, 2 less
    // that if the direction is steep, 4 less that if x is negative.
    const Bits x_sign = Bits(x[i]) & sign;
    const Doubles turned = Doubles(is_turned & Bits(same(1)));
    const Doubles right = select(is_steep, same(2) - turned, turned);
    const Doubles k = same(2) - Doubles(Bits(same(2) - right) ^ x_sign);
    const Doubles rest = Doubles(Bits(arctangent) ^ x_sign ^ (is_steep & sign));
    const Doubles size = k * same(quarter_high) + (rest + k * same(quarter_low));
    angle[i] = Doubles(Bits(size) ^ (Bits(y[i]) & sign));
  }
}

}  // namespace QZ::Math::internal
