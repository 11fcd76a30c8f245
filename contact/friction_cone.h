#pragma once

#include <Eigen/Core>
#include <cmath>

namespace korvel::contact {

/// The friction cone K of a point on level ground: the ground pushes, f_z >= 0, and holds, |f_xy| <= friction f_z.
struct FrictionCone {
  double friction;

  /// The force of K that is nearest to v, and its derivative by v, which is symmetric. At the seams between its three
  /// pieces the derivative is that of one of them, as a semismooth Newton iteration needs it.
  struct Projection {
    Eigen::Vector3d force;
    Eigen::Matrix3d derivative;
  };

  /// Source  L. Qi, J. Sun, A nonsmooth version of Newton's method, 1993; for this cone M. Fukushima, Z.-Q. Luo,
  ///         P. Tseng, Smoothing functions for second-order-cone complementarity problems, 2002, proposition 3.3.
  Projection nearest(const Eigen::Vector3d& v) const {
    const double tangential = std::hypot(v.x(), v.y());
    if (friction * tangential <= -v.z()) return {Eigen::Vector3d::Zero(), Eigen::Matrix3d::Zero()};
    if (tangential <= friction * v.z()) return {v, Eigen::Matrix3d::Identity()};

    // On the surface, along the edge (friction u, 1) with u the direction of v in the ground.
    const Eigen::Vector3d u(v.x() / tangential, v.y() / tangential, 0);
    const Eigen::Vector3d edge(friction * u.x(), friction * u.y(), 1);
    const double f_z = (friction * tangential + v.z()) / edge.squaredNorm();
    // Across u, where the surface is round.
    const Eigen::Vector3d across(-u.y(), u.x(), 0);
    return {f_z * edge,
            edge * edge.transpose() / edge.squaredNorm() + friction * f_z / tangential * (across * across.transpose())};
  }
};

}  // namespace korvel::contact
