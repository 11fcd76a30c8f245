#pragma once

#include <limits>
#include <vector>

#include "contact/lanes.h"

namespace korvel::contact {

/// A point or a direction in the ground.
template <typename Number>
using GroundVector = metapod::Spatial::VectorOf<Number, Number, metapod::Spatial::Zero>;

template <typename Number>
GroundVector<Number> in_ground(const metapod::Spatial::Vector3T<Number>& v) noexcept {
  return {v.x, v.y, {}};
}

/// The position of a point with respect to the convex hull of others, which may have no area.
template <typename Number>
struct SupportMargin {
  Number distance;              ///< from the boundary, negative outside
  GroundVector<Number> excess;  ///< from the nearest point of the hull, zero inside
};

/// Takes points, at least one, as they lie from the point whose margin is asked. They may coincide.
///
/// With h(u) the largest u'k over all points k, the distance is the least h(u) / |u| over the normals of the hull's
/// edges and, outside, the direction from the nearest point. No other u gives less. So the hull is not needed: from
/// each point the normal of the edge that begins there will do, or any direction if none does.
template <typename Number>
SupportMargin<Number> support_margin(const std::vector<GroundVector<Number>>& points) noexcept {
  using Vector = GroundVector<Number>;
  const Number zero(0);
  // The least so far as its h, its u and |u|^2. Quotients are compared by their products.
  Number h(1);
  Number square(0);
  Vector u{zero, zero, {}};
  const auto consider = [&](const Vector& direction) {
    Number largest(-std::numeric_limits<double>::infinity());
    for (const Vector& k : points) largest = larger(largest, dot(direction, k));
    const Number length = dot(direction, direction);
    const auto signed_square = [&](const Number& value) { return value * larger(value, -value); };
    const auto is_less = signed_square(largest) * square < signed_square(h) * length;
    h = select(is_less, largest, h);
    square = select(is_less, length, square);
    u = select(is_less, direction, u);
  };

  Vector nearest = points.front();
  for (const Vector& a : points) {
    // The direction from here to which all others lie to the left.
    Vector along{zero, zero, {}};
    for (const Vector& k : points) {
      if (&k == &a) continue;
      const Vector to = k - a;
      along = select(dot(along, along) <= zero || cross(along, to).z < zero, to, along);
    }
    consider({along.y, -along.x, {}});
    nearest = select(dot(a, a) < dot(nearest, nearest), a, nearest);
  }
  consider(-nearest);

  const auto is_defined = square > zero;
  const Number divisor = select(is_defined, square, Number(1));
  const Number distance = select(is_defined, h / square_root(divisor), zero);
  return {distance, select(distance < zero, -h / divisor, zero) * u};
}

}  // namespace korvel::contact
