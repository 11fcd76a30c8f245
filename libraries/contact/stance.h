#pragma once

#include <Eigen/Geometry>
#include <vector>

#include "contact/nearest_forces.h"
#include "contact/sole.h"
#include "contact/wrench.h"

namespace korvel::contact {

/// The pose of a sole at one instant, and its contact.
struct SoleState {
  Eigen::Isometry3d pose_world;  ///< of its body, from the root's origin
  double share;                  ///< in the load, from 0 to 1; 0 without contact
};

/// The load of the ground on one sole. All numbers are zero without contact.
struct SoleLoad {
  Wrench wrench_world;  ///< on the body about its origin
  Eigen::Vector2d
      pressure_world;   ///< centre of pressure from the root's origin [m]; the sole's centre if it bears nothing
  double friction = 0;  ///< tangential by normal force
  double inside = 0;    ///< of the centre of pressure, from the boundary of what bears of the sole [m]
};

/// A robot on the ground at one instant. World axes, from the root's origin; positions in the ground by x and y.
struct Stance {
  Verdict verdict = Verdict::stands;
  double residual = 0;  ///< unsupported share of the weight; at most feasible_residual where it stands or is in flight
  std::vector<SoleLoad> soles;  ///< in the order of the soles
  /// The point about which the required wrench has no horizontal moment, at the mean height of the corners that bear,
  /// or on the ground if none does; below the centre of mass where hardly anything is required.
  Eigen::Vector2d zmp_world = Eigen::Vector2d::Zero();
  /// The distance of the zero moment point from the edge of the support polygon, the hull of the corners in contact;
  /// negative outside, 0 without contact [m].
  double margin = 0;
  /// The vector from the polygon to the zero moment point, if that is outside [m].
  Eigen::Vector2d excess_world = Eigen::Vector2d::Zero();
  Loads<double> loads;  ///< of the corners, with a compliance for those that bear
};

/// A robot on the ground at one instant: what its motion requires and what there is to give it. Positions are from the
/// root's origin.
struct StanceProblem {
  const std::vector<Sole>& soles;
  const std::vector<SoleState>& states;  ///< of the soles
  Wrench required_world;                 ///< that the motion requires, about the root's origin
  Eigen::Vector3d com_world;
  double ground;  ///< height of the ground above the root's origin [m]
  double weight;  ///< [N]
  double level;   ///< of a sole in contact those corners bear that are at most so far above its lowest one [m]
};

/// Computes how the robot stands. The split between soles follows the zero moment point: a sole's compliance is its
/// share times its weight in the affine combination of the soles' centres that comes nearest to that point. For two
/// soles this weight is the nearness along the line between them.
Stance stance(const StanceProblem& problem);

/// The least coefficient of friction, the same at all points, with which the ground would bear a load, to three digits.
/// Infinite if none does. It is at least `known`, where that is known from elsewhere: that is tried first.
double least_friction(Loads<double> loads, double known = 0);

}  // namespace korvel::contact
