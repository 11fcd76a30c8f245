#pragma once

#include <Eigen/Core>
#include <functional>
#include <vector>

#include "host/robot/module.h"
#include "host/robot/robot.h"

namespace korvel::host {

/// The rotational inertias of a robot's bodies about their centres of mass, in the bodies' frames [kg m^2], as
/// importers of files take them: positive, and none larger than the sum of the other two.
struct Inertias {
  std::vector<Eigen::Matrix3d> of_body;
  std::vector<bool> is_point;  ///< zero to within rounding, by body; then it has `least_inertia` on its diagonal
  double largest_of_points;    ///< [kg m^2] what rounding left of the inertias of these

  std::size_t points() const;
};

/// Inertia that is written for a point mass: above what engines take for zero, 1e-15 in MuJoCo, and less than a hundred
/// millionth of what even a wrist has about its joint.
constexpr double least_inertia = 1e-14;

/// Makes an object of a module that has been loaded for it alone.
using FreshSystem = std::function<System()>;

/// The interface does not tell inertias, but all can be seen in the mass matrix: alone in the robot, with the others
/// massless, a body is the whole of the mass that the root moves.
Inertias recover_inertias(const FreshSystem& fresh, const Robot& robot);

}  // namespace korvel::host
