#include "bench/peers/mujoco.h"

#include <Eigen/Geometry>
#include <stdexcept>

#include "host/robot/frames.h"

namespace korvel::bench {

MujocoModel load_mujoco(const std::string& file) {
  char error[1000] = "";
  MujocoModel model(mj_loadXML(file.c_str(), nullptr, error, sizeof error), mj_deleteModel);
  if (model == nullptr) throw std::runtime_error(std::string("MuJoCo: ") + error);
  return model;
}

MujocoData make_data(const mjModel& model) {
  MujocoData data(mj_makeData(&model), mj_deleteData);
  if (data == nullptr) throw std::runtime_error("MuJoCo: no memory for the state");
  return data;
}

MujocoState::MujocoState(const host::Instant& instant) {
  const Eigen::Isometry3d pose = host::isometry(instant.root.pose);
  R_WR = pose.linear();
  const Eigen::Quaterniond orientation = Eigen::Quaterniond(R_WR).normalized();
  const Eigen::Matrix<double, 6, 1> rates = host::vector(instant.root.velocity);
  const Eigen::Matrix<double, 6, 1> derivatives = host::vector(instant.root.acceleration);
  const Eigen::Vector3d v = rates.head<3>(), w = rates.tail<3>();
  const Eigen::Index joints = instant.joint_pos.size();
  q.resize(7 + joints);
  dq.resize(6 + joints);
  ddq.resize(6 + joints);
  q << pose.translation(), orientation.w(), orientation.vec(), instant.joint_pos.matrix().cast<double>();
  dq << R_WR * v, w, instant.joint_vel.matrix().cast<double>();
  ddq << R_WR * (derivatives.head<3>() + w.cross(v)), derivatives.tail<3>(), instant.joint_acc.matrix().cast<double>();
}

void subtract_wrench(const mjModel& model, mjData& data, int body, const Eigen::Vector3d& force,
                     const Eigen::Vector3d& moment, Eigen::VectorXd& forces) {
  const Eigen::Vector3d minus_force = -force;
  const Eigen::Vector3d minus_moment = -moment;
  mj_applyFT(&model, &data, minus_force.data(), minus_moment.data(), data.xpos + 3 * body, body, forces.data());
}

}  // namespace korvel::bench
