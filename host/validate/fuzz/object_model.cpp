#include "host/validate/fuzz/object_model.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "states/states.h"

namespace korvel::validate {

namespace {

// Of body 0 the pose in the root, of the jacobian the root's six columns never change.
constexpr Stretch poses_in_root{Shown::poses_in_root + 12, Shown::volatile_pose};
constexpr Stretch com_in_root{Shown::com_in_root, Shown::jacobian};
constexpr Stretch jacobian{Shown::jacobian + 36, Shown::mass_matrix};
constexpr Stretch poses{Shown::poses, Shown::poses_in_root};
constexpr Stretch com{Shown::com, Shown::com_in_root};

}  // namespace

namespace Writes {
const Stretches except_root{poses_in_root, com_in_root, jacobian};
const Stretches only_root{poses, com};
const Stretches kinematics{poses_in_root, com_in_root, jacobian, poses, com};
const Stretches generalized_mass{{Shown::mass_matrix, Shown::torques}};
const Stretches inverse_dynamics{{Shown::torques, Shown::inputs}};
const Stretches nothing{};
}  // namespace Writes

std::string shown_name(std::ptrdiff_t place) {
  const auto in = [place](std::ptrdiff_t begin) { return place - begin; };
  if (place < Shown::poses_in_root)
    return fmt::format("number {} of the world pose of body {}", place % 12, place / 12);
  if (place < Shown::volatile_pose) {
    const auto i = in(Shown::poses_in_root);
    return fmt::format("number {} of the pose in the root of body {}", i % 12, i / 12);
  }
  if (place < Shown::com) return fmt::format("number {} of the volatile pose", in(Shown::volatile_pose));
  if (place < Shown::com_in_root) return fmt::format("number {} of the centre of mass", in(Shown::com));
  if (place < Shown::jacobian)
    return fmt::format("number {} of the centre of mass in the root", in(Shown::com_in_root));
  if (place < Shown::mass_matrix) {
    return fmt::format("row {} of column {} of the jacobian", in(Shown::jacobian) % 6, in(Shown::jacobian) / 6);
  }
  if (place < Shown::torques) {
    return fmt::format("row {} of column {} of the mass matrix", in(Shown::mass_matrix) % 30,
                       in(Shown::mass_matrix) / 30);
  }
  if (place < Shown::inputs) return fmt::format("the torque of joint angle {}", in(Shown::torques));
  if (place < Shown::joints) {
    const auto i = in(Shown::inputs);
    return fmt::format("number {} of the root {}", i % 6, i < 6 ? "velocity" : "acceleration");
  }
  const auto i = in(Shown::joints);
  return fmt::format("the {} of joint angle {}", i < 24 ? "position" : i < 48 ? "velocity" : "acceleration", i % 24);
}

std::ptrdiff_t first_difference(const float* a, const float* b, std::ptrdiff_t count) {
  if (std::memcmp(a, b, static_cast<std::size_t>(count) * sizeof(float)) == 0) return count;
  const auto same = [](float x, float y) {
    return std::memcmp(&x, &y, sizeof(float)) == 0 || (std::isnan(x) && std::isnan(y));
  };
  return std::mismatch(a, a + count, b, same).first - a;
}

void ObjectModel::remember(Step step, long inertia_changes) {
  history.erase(std::remove_if(history.begin(), history.end(), [&](const Past& past) { return past.step == step; }),
                history.end());
  history.push_back({step, root_pose, joints(0), inertia_changes});
}

const ObjectModel::Past* ObjectModel::last(Step step) const {
  const auto found = std::find_if(history.begin(), history.end(), [&](const Past& past) { return past.step == step; });
  return found == history.end() ? nullptr : &*found;
}

Eigen::Map<const Eigen::ArrayXf> ObjectModel::joints(int derivative) const {
  return {shown.data() + Shown::joints + 24 * derivative, 24};
}

void ObjectModel::write_inputs(tesk::RigidBodySystem& robot) const {
  if (root_pose) robot.setRootPose(*root_pose);
  const float* rates = shown.data() + Shown::inputs;
  robot.setRootVelocity({rates[0], rates[1], rates[2], rates[3], rates[4], rates[5]});
  robot.setRootAcceleration({rates[6], rates[7], rates[8], rates[9], rates[10], rates[11]});
  robot.setJointAnglesPos(joints(0));
  robot.setJointAnglesVel(joints(1));
  robot.setJointAnglesAcc(joints(2));
  for (unsigned long b = 0; b < loads.size(); ++b) {
    const Load& load = loads[b];
    load.frame ? robot.setExternalWrench(b, load.wrench, *load.frame) : robot.setExternalWrench(b, load.wrench);
  }
}

void ObjectModel::repeat_history(tesk::RigidBodySystem& robot) const {
  for (const Past& past : history) {
    if (past.root_pose) robot.setRootPose(*past.root_pose);
    robot.setJointAnglesPos(past.angles);
    switch (past.step) {
      case Step::except_root:
        robot.computeFwdKinematicsExceptRoot();
        break;
      case Step::only_root:
        robot.computeFwdKinematicsOnlyRoot();
        break;
      case Step::inverse_dynamics:
        robot.computeInverseDynamics();
        break;
    }
  }
}

}  // namespace korvel::validate
