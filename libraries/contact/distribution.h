#pragma once

#include <Eigen/Core>
#include <vector>

#include "contact/friction_cone.h"
#include "contact/wrench.h"

namespace korvel::contact {

/// A point at which level ground may push.
struct ContactPoint {
  Eigen::Vector3d position_world;  ///< from the point about which moments are taken [m]
  FrictionCone cone;
  double compliance;  ///< its share of the load, relative to that of the others; from `least_compliance` to 1
};

/// Forces at points that together are a wrench, or come as near to it as the ground can.
struct Distribution {
  std::vector<Eigen::Vector3d> forces_world;  ///< of each point [N]
  Wrench missing_world;                       ///< what was asked for, less what the forces give
  /// Of `missing_world`, as a share of the weight; moments by moment_length.
  double residual = 0;
};

/// Distributes a wrench over points, each within its friction cone: of all forces that give it, those with
/// the least sum of |f_i|^2 / compliance_i. How a load that several points could bear is split is a choice; this one
/// changes continuously with the wrench and puts it evenly where the compliances are even.
///
/// With A_i the map from a force at point i to its wrench and eps = 1e-10 they minimise
///
///   |sum_i A_i f_i - w|^2 + eps sum_i |f_i|^2 / compliance_i
///
/// over forces in their cones. The cones are round: nothing depends on a direction in the ground. Where the ground
/// cannot bear w, the forces are the nearest that it can.
///
/// ForceIteration finds them in one step if all are within their cones, and mostly in less than ten otherwise. About
/// one hard wrench in thirty is left to slower iterations. Their forces are checked against Moreau's conditions for the
/// nearest, which all of 105,000 meet within 2e-7 of w.
///
/// Source  L. Qi, J. Sun, A nonsmooth version of Newton's method, 1993; for the conditions J. J. Moreau, a cone and its
///         polar, 1962
Distribution distribute(const Wrench& wrench_world, const std::vector<ContactPoint>& points, double weight);

/// The least coefficient of friction, the same at all points, with which the ground would bear the wrench, to three
/// digits. Infinite if none does. It is at least `known`, where that is known from elsewhere: that is tried first.
double least_friction(const Wrench& wrench_world, std::vector<ContactPoint> points, double weight, double known = 0);

}  // namespace korvel::contact
