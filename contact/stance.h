#pragma once

#include <Eigen/Geometry>
#include <vector>

#include "contact/distribution.h"
#include "contact/sole.h"
#include "contact/wrench.h"

namespace korvel::contact {

/// A pose with its rotation orthonormal to the last digit: by single precision's the forces would depend on the
/// heading.
inline Eigen::Isometry3d rigid(Eigen::Isometry3d pose) {
  pose.linear() = Eigen::Quaterniond(pose.linear()).normalized().toRotationMatrix();
  return pose;
}

/// Where a sole is at one instant, and whether it stands.
struct SoleState {
  Eigen::Isometry3d pose;  ///< of its body: world axes, from the root's origin
  bool contact;
  double share;  ///< of ContactPhases
};

/// What the ground does to one sole. All zero without contact.
struct SoleLoad {
  Wrench wrench;             ///< on the body about its origin, world axes
  Eigen::Vector2d pressure;  ///< centre of pressure from the root's origin [m]; the sole's centre if it bears nothing
  double friction = 0;       ///< tangential by normal force
  double inside = 0;         ///< of the centre of pressure, from the boundary of what bears of the sole [m]
};

/// Why the ground cannot bear what a motion requires.
enum class Verdict {
  stands,
  nothing_bears,  ///< no sole stands on the ground
  needs_pull,     ///< the ground would have to pull
  tips,           ///< the zero moment point is outside the support polygon
  slips,          ///< more friction is needed than there is
};

/// A robot on the ground at one instant. World axes, from the root's origin; positions in the ground by x and y.
struct Stance {
  Verdict verdict = Verdict::stands;
  double residual = 0;          ///< of Distribution; at most feasible_residual where it stands
  std::vector<SoleLoad> soles;  ///< in the order of the soles
  /// The point about which the required wrench has no horizontal moment, at the mean height of the corners that bear,
  /// or on the ground if none does; below the centre of mass where hardly anything is required.
  Eigen::Vector2d zero_moment_point = Eigen::Vector2d::Zero();
  /// Of the zero moment point in the support polygon, the hull of the corners that bear; negative outside, 0 where
  /// nothing bears [m].
  double margin = 0;
  /// From the polygon to the zero moment point, where that is outside [m].
  Eigen::Vector2d excess = Eigen::Vector2d::Zero();
  /// The wrench about the origin of `points`, and the corners that bear: what `least_friction` needs.
  Wrench required;
  std::vector<ContactPoint> points;
};

/// How a robot of a weight [N] stands whose soles are at `states` and whose ground is `ground` [m] above the root's
/// origin, if `required` is the wrench that its motion requires, about the root's origin in world axes, and `com` its
/// centre of mass.
///
/// Of a sole in contact those corners bear that are at most `level` [m] above its lowest one. The split between soles
/// follows the zero moment point: a sole's compliance is its share of contact times its weight in the affine
/// combination of the soles' centres that comes nearest to that point; with two soles, the nearness along the line
/// between them.
Stance stance(const std::vector<Sole>& soles, const std::vector<SoleState>& states, const Wrench& required,
              double ground, const Eigen::Vector3d& com, double weight, double level);

}  // namespace korvel::contact
