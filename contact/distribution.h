#pragma once

#include <Eigen/Core>
#include <vector>

#include "contact/friction_cone.h"
#include "contact/wrench.h"

namespace korvel::contact {

/// A point at which level ground may push.
struct ContactPoint {
  Eigen::Vector3d position;  ///< world axes, from the point about which moments are taken [m]
  FrictionCone cone;
  double compliance;  ///< its share of the load, relative to that of the others; from `least_compliance` to 1
};

/// Less than that, and what can be borne is no longer found with certainty.
inline constexpr double least_compliance = 1e-3;

/// Forces at points that together are a wrench, or come as near to it as the ground can.
struct Distribution {
  std::vector<Eigen::Vector3d> forces;  ///< of each point, world axes [N]
  Wrench missing;                       ///< what was asked for, less what the forces give
  /// Of `missing`, as a share of the weight; moments by moment_length.
  double residual = 0;
};

/// At most this, and the ground bears it.
inline constexpr double feasible_residual = 1e-3;

/// Distributes a wrench, world axes, over points, each within its friction cone: of all forces that give it, those with
/// the least sum of |f_i|^2 / compliance_i. How a load that several points could bear is split is a choice; this one
/// changes continuously with the wrench and puts it evenly where the compliances are even.
///
/// With A_i the map from a force at point i to its wrench, P_i the projection onto its cone, the dual has six unknowns:
///
///   sum_i compliance_i A_i P_i(A_i' y) + eps y = w,     f_i = compliance_i P_i(A_i' y),
///
/// the gradient of a convex function, solved by a semismooth Newton iteration with a line search. The cones are round:
/// nothing depends on a direction in the ground. Where the ground cannot bear w, y grows until eps y is what is
/// missing, and the forces are the nearest that it can.
///
/// Cost    some 2 to 20 iterations of 6 x 6 systems; at most 265, where the ground cannot bear w
///
/// Source  L. Qi, J. Sun, A nonsmooth version of Newton's method, 1993; for the dual of a projection onto the
///         intersection of a cone and a subspace, J. Malick, A dual approach to semidefinite least-squares problems,
///         2004
Distribution distribute(const Wrench& wrench, const std::vector<ContactPoint>& points, double weight);

/// The least coefficient of friction, the same at all points, with which the ground would bear the wrench, to three
/// digits. Infinite if none does. It is at least `known`, where that is known from elsewhere: that is tried first.
double least_friction(const Wrench& wrench, std::vector<ContactPoint> points, double weight, double known = 0);

}  // namespace korvel::contact
