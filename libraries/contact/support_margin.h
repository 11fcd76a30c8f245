#pragma once

#include "contact/lanes.h"

namespace korvel::contact {

/// A point or a direction in the ground.
template <typename Number>
struct GroundVector {
  Number x, y;
};

/// Where a point is with respect to the convex hull of others, which may have no area.
template <typename Number>
struct SupportMargin {
  Number distance;              ///< from the boundary, negative outside
  GroundVector<Number> excess;  ///< from the nearest point of the hull, zero inside
};

/// Takes `count` points, at least one, as they lie from the point whose margin is asked. They may coincide.
///
/// With h(u) the largest u'k over all points k, the distance is the least h(u) / |u| over the normals of the hull's
/// edges and, outside, the direction from the nearest point. No other u gives less. So the hull is not needed: from
/// each point the normal of the edge that begins there will do, or any direction if none does.
template <typename Number>
SupportMargin<Number> support_margin(const GroundVector<Number>* points, int count) noexcept {
  const Number zero(0);
  const auto cross = [](const auto& a, const auto& b) { return a.x * b.y - a.y * b.x; };
  const auto chosen = [](const auto& where, const auto& a, const auto& b) {
    return GroundVector<Number>{select(where, a.x, b.x), select(where, a.y, b.y)};
  };
  // The least so far as its h, its u and |u|^2. Quotients are compared by their products.
  Number h(1);
  Number square(0);
  GroundVector<Number> u{zero, zero};
  const auto consider = [&](const GroundVector<Number>& direction) {
    Number largest = direction.x * points[0].x + direction.y * points[0].y;
    for (int k = 1; k < count; ++k) largest = larger(largest, direction.x * points[k].x + direction.y * points[k].y);
    const Number length = direction.x * direction.x + direction.y * direction.y;
    const auto signed_square = [&](const Number& value) { return value * select(value < zero, -value, value); };
    const auto is_less = signed_square(largest) * square < signed_square(h) * length;
    h = select(is_less, largest, h);
    square = select(is_less, length, square);
    u = chosen(is_less, direction, u);
  };

  GroundVector<Number> nearest = points[0];
  for (int a = 0; a < count; ++a) {
    // The direction from here to which all others lie to the left.
    GroundVector<Number> along{zero, zero};
    for (int k = 0; k < count; ++k) {
      if (k == a) continue;
      const GroundVector<Number> to{points[k].x - points[a].x, points[k].y - points[a].y};
      const auto is_none = both(both(along.x <= zero, along.x >= zero), both(along.y <= zero, along.y >= zero));
      along = chosen(either(is_none, cross(along, to) < zero), to, along);
    }
    consider({along.y, -along.x});
    const auto distance = [](const auto& v) { return v.x * v.x + v.y * v.y; };
    nearest = chosen(distance(points[a]) < distance(nearest), points[a], nearest);
  }
  consider({-nearest.x, -nearest.y});

  const auto is_defined = square > zero;
  const Number divisor = select(is_defined, square, Number(1));
  const Number distance = select(is_defined, h / square_root(divisor), zero);
  const Number beyond = select(distance < zero, -h / divisor, zero);
  return {distance, {beyond * u.x, beyond * u.y}};
}

}  // namespace korvel::contact
