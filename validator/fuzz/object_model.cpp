#include "validator/fuzz/object_model.h"

#include <algorithm>

namespace korvel::validate {

void run(Stage stage, tesk::RigidBodySystem& robot) {
  if (stage == Stage::except_root) robot.computeFwdKinematicsExceptRoot();
  if (stage == Stage::only_root) robot.computeFwdKinematicsOnlyRoot();
  if (stage == Stage::generalized_mass) robot.computeGeneralizedMass();
  if (stage == Stage::inverse_dynamics) robot.computeInverseDynamics();
}

ObjectModel::ObjectModel(const tesk::RigidBodySystem& initial)
    : layout(initial), shown(everything_readable(initial)), loads(initial.getNbBodies()) {}

float* ObjectModel::place(Result result, unsigned long piece) {
  return shown.data() + layout[result].first + static_cast<std::ptrdiff_t>(piece) * layout.length(result);
}

void ObjectModel::remember(Stage stage, long inertia_changes) {
  if (stage == Stage::generalized_mass) return;  // no later one reads what it leaves
  history.erase(std::remove_if(history.begin(), history.end(), [&](const Past& past) { return past.stage == stage; }),
                history.end());
  history.push_back({stage, root_pose, joints(Result::positions), inertia_changes});
}

const ObjectModel::Past* ObjectModel::last(Stage stage) const {
  const auto found =
      std::find_if(history.begin(), history.end(), [&](const Past& past) { return past.stage == stage; });
  return found == history.end() ? nullptr : &*found;
}

Eigen::Map<const Eigen::ArrayXf> ObjectModel::joints(Result values) const {
  const auto [first, last] = layout[values];
  return {shown.data() + first, last - first};
}

void ObjectModel::write_inputs(tesk::RigidBodySystem& robot) const {
  if (root_pose) robot.setRootPose(*root_pose);
  const auto rates = [&](Result result) {
    const float* v = shown.data() + layout[result].first;
    return QZ::Math::Velocity6D(v[0], v[1], v[2], v[3], v[4], v[5]);
  };
  robot.setRootVelocity(rates(Result::root_velocity));
  robot.setRootAcceleration(rates(Result::root_acceleration));
  robot.setJointAnglesPos(joints(Result::positions));
  robot.setJointAnglesVel(joints(Result::velocities));
  robot.setJointAnglesAcc(joints(Result::accelerations));
  for (const auto& load : loads) {
    if (load) load(robot);
  }
}

void ObjectModel::repeat_history(tesk::RigidBodySystem& robot) const {
  for (const Past& past : history) {
    if (past.root_pose) robot.setRootPose(*past.root_pose);
    robot.setJointAnglesPos(past.angles);
    run(past.stage, robot);
  }
}

}  // namespace korvel::validate
