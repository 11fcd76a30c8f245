#pragma once

#include <mujoco/mujoco.h>

#include <Eigen/Core>
#include <memory>
#include <string>

#include "motion/trajectory.h"

namespace korvel::bench {

using MujocoModel = std::unique_ptr<mjModel, decltype(&mj_deleteModel)>;
using MujocoData = std::unique_ptr<mjData, decltype(&mj_deleteData)>;

/// Reads a model from a file. Throws std::runtime_error with MuJoCo's message.
MujocoModel load_mujoco(const std::string& file);
MujocoData make_data(const mjModel& model);

/// An instant as MuJoCo has it: the root's position and quaternion, then the angles; its velocity in world axes and
/// angular velocity in its own; likewise accelerations.
struct MujocoState {
  explicit MujocoState(const host::Instant& instant);

  Eigen::Matrix3d R_WR;
  Eigen::VectorXd q, dq, ddq;
};

/// Subtracts from generalized forces what a force and a moment about the body's origin contribute, in world axes.
/// MuJoCo's inverse dynamics leaves out external wrenches, and its own are about the centre of mass. Needs
/// mj_kinematics and mj_comPos before.
void subtract_wrench(const mjModel& model, mjData& data, int body, const Eigen::Vector3d& force,
                     const Eigen::Vector3d& moment, Eigen::VectorXd& forces);

}  // namespace korvel::bench
