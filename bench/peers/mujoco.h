#pragma once

#include <mujoco/mujoco.h>

#include <Eigen/Core>
#include <memory>
#include <string>

#include "motion/trajectory.h"

namespace korvel::bench {

using MujocoModel = std::unique_ptr<mjModel, decltype(&mj_deleteModel)>;
using MujocoData = std::unique_ptr<mjData, decltype(&mj_deleteData)>;

/// From a file. Throws std::runtime_error with what MuJoCo says.
MujocoModel load_mujoco(const std::string& file);
MujocoData make_data(const mjModel& model);

/// An instant as MuJoCo has it: the root's position and quaternion, then the angles; its velocity in world axes and
/// angular velocity in its own; likewise accelerations.
struct MujocoState {
  explicit MujocoState(const host::Instant& instant);

  Eigen::Matrix3d R_WR;
  Eigen::VectorXd q, dq, ddq;
};

/// From generalized forces what a force and a moment about the body's origin contribute, world axes. Its functions for
/// inverse dynamics leave external wrenches to this, and its external wrenches are told about the centre of mass.
/// After  mj_kinematics, mj_comPos
void subtract_wrench(const mjModel& model, mjData& data, int body, const Eigen::Vector3d& force,
                     const Eigen::Vector3d& moment, Eigen::VectorXd& forces);

}  // namespace korvel::bench
