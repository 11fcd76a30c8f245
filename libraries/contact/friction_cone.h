#pragma once

#include "contact/lanes.h"
#include "metapod/spatial/vector3.h"

namespace korvel::contact {

using metapod::Spatial::Vector3T;

/// The force of a friction cone that is nearest to v, and its derivative P' by v, which is symmetric. P' has the factor
/// 1 within the cone and 0 where the force is zero. On the surface it has the factor 1 along the edge
/// (friction x, friction y, 1), `roundness` across it, (-y, x, 0), and 0 normal to both. At the seams between the three
/// pieces it is that of one of them, as a semismooth Newton iteration needs it.
template <typename Number>
struct ConeProjection {
  MaskOf<Number> is_zero, is_inside;
  Number x, y;  ///< the direction of v in the ground
  Number roundness;
  Vector3T<Number> force;
};

/// The friction cone K of a point on level ground: the ground pushes, f_z >= 0, and holds, |f_xy| <= friction f_z.
struct FrictionCone {
  double friction;

  /// Source  L. Qi, J. Sun, A nonsmooth version of Newton's method, 1993; for this cone M. Fukushima, Z.-Q. Luo,
  ///         P. Tseng, Smoothing functions for second-order-cone complementarity problems, 2002, proposition 3.3.
  template <typename Number>
  ConeProjection<Number> nearest(const Vector3T<Number>& v) const noexcept {
    const Number zero(0);
    const Number tangential = square_root(v.x * v.x + v.y * v.y);
    const MaskOf<Number> is_zero = friction * tangential <= -v.z;
    const MaskOf<Number> is_inside = !is_zero && tangential <= friction * v.z;
    // The force lies on the surface; its edge has a direction unless the force is vertical.
    const Number per_tangential = Number(1) / select(tangential > zero, tangential, Number(1));
    const Number x = v.x * per_tangential;
    const Number y = v.y * per_tangential;
    const Number f_z = Number(1 / (1 + friction * friction)) * (friction * tangential + v.z);
    const Vector3T<Number> none{zero, zero, zero};
    const Vector3T<Number> on_surface{friction * f_z * x, friction * f_z * y, f_z};
    return {is_zero,
            is_inside,
            x,
            y,
            friction * f_z * per_tangential,
            select(is_zero, none, select(is_inside, v, on_surface))};
  }
};

}  // namespace korvel::contact
