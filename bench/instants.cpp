#include "bench/instants.h"

#include "contract/states.h"

namespace korvel::bench {

LoadedInstants seeded_instants(std::size_t count) {
  Random random(1);
  State numbers(RobotSize(int{joint_count} + 1));
  LoadedInstants states(count);
  for (std::size_t k = 0; k < count; ++k) {
    for (Eigen::VectorXf* values : {&numbers.q, &numbers.dq, &numbers.ddq}) random.fill(*values, 1);
    random.fill(numbers.wrenches.topRows(3), 20);
    random.fill(numbers.wrenches.bottomRows(3), 1);
    LoadedInstant& state = states[k];
    state.joint_pos = joints_of(numbers.q).array();
    state.joint_vel = joints_of(numbers.dq).array();
    state.joint_acc = joints_of(numbers.ddq).array();
    state.root = {numbers.root_pose(), numbers.root_velocity(), numbers.root_acceleration()};
    state.wrenches = {numbers.wrench(feet[0]), numbers.wrench(feet[1])};
    state.body = 1 + k % joint_count;
  }
  return states;
}

}  // namespace korvel::bench
