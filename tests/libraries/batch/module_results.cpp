#include "tests/libraries/batch/module_results.h"

#include <algorithm>
#include <cstring>

namespace korvel::tests {

State state_of(const States& states, std::ptrdiff_t s) {
  State state{RobotSize(bodies)};
  std::copy_n(states.q.of_state(s), coordinates, state.q.data());
  std::copy_n(states.dq.of_state(s), coordinates, state.dq.data());
  std::copy_n(states.ddq.of_state(s), coordinates, state.ddq.data());
  std::copy_n(states.wrenches.of_state(s), 6 * bodies, state.wrenches.data());
  return state;
}

States random_states(std::ptrdiff_t n, std::uint64_t first_seed) {
  States states(n);
  for (std::ptrdiff_t s = 0; s < n; ++s) {
    const State state = random_state(first_seed + static_cast<std::uint64_t>(s), RobotSize(bodies));
    std::copy_n(state.q.data(), coordinates, states.q.of_state(s));
    std::copy_n(state.dq.data(), coordinates, states.dq.of_state(s));
    std::copy_n(state.ddq.data(), coordinates, states.ddq.of_state(s));
    std::copy_n(state.wrenches.data(), 6 * bodies, states.wrenches.of_state(s));
    states.root_poses.push_back(state.root_pose());
    const auto root = QZ::Math::position6DFromTransform(states.root_poses.back());
    const std::array<float, 6> root_coordinates{root.x, root.y, root.z, root.ax, root.ay, root.az};
    std::copy(root_coordinates.begin(), root_coordinates.end(), states.q.of_state(s));
  }
  return states;
}

Results module_results(const States& states, tesk::RigidBodySystem& robot, const Rows& forces) {
  Results results(states.count);
  results.forces = forces;
  for (std::ptrdiff_t s = 0; s < states.count; ++s) {
    const State state = state_of(states, s);
    write(state, robot);
    robot.setRootPose(states.root_poses[static_cast<std::size_t>(s)]);
    robot.computeFwdKinematics();
    robot.computeGeneralizedMass();
    robot.computeInverseDynamics();

    for (unsigned long b = 0; b < bodies; ++b) {
      std::memcpy(results.poses_root.of_state(s) + 12 * b, &robot.getPoseInRoot(b), 12 * sizeof(float));
      std::memcpy(results.poses_world.of_state(s) + 12 * b, &robot.getPose(b), 12 * sizeof(float));
    }
    std::memcpy(results.com_root.of_state(s), &robot.getComPositionInRoot(), 3 * sizeof(float));
    std::memcpy(results.com_world.of_state(s), &robot.getComPosition(), 3 * sizeof(float));
    Eigen::Map<Eigen::Matrix<float, 6, coordinates, Eigen::RowMajor>>(results.jacobian.of_state(s)) =
        robot.getJacobianInRoot();
    std::copy_n(robot.getGeneralizedMass().data(), results.mass.numbers, results.mass.of_state(s));
    for (int entry = 0; entry < results.packed.numbers; ++entry) {
      int row = 0;
      int column = 0;
      korvel_batch_mass_entry(entry, &row, &column);
      results.packed.of_state(s)[entry] = robot.getGeneralizedMass()(row, column);
    }
    std::copy_n(robot.getJointAnglesTorque().first, coordinates - 6, results.forces.of_state(s) + 6);
  }
  return results;
}

std::vector<korvel_batch_wrench> wrenches_of(const States& states) {
  std::vector<korvel_batch_wrench> wrenches;
  for (int b = 0; b < bodies; ++b) {
    korvel_batch_input values = input(states.wrenches);
    values.data += 6 * b;
    wrenches.push_back({b, values});
  }
  return wrenches;
}

Results batch_results(const Batch& batch, const States& states) {
  Results results(states.count);
  batch.kinematics(states.count, input(states.q),
                   {output(results.poses_root), output(results.poses_world), output(results.com_root),
                    output(results.com_world), output(results.jacobian), nullptr, 0});
  batch.mass_packed(states.count, input(states.q), output(results.packed));
  batch.mass_dense(states.count, input(states.q), output(results.mass));
  batch.dynamics(states.count, input(states.q), input(states.dq), input(states.ddq), output(results.forces),
                 wrenches_of(states));
  return results;
}

std::vector<std::string> instruction_sets() {
  std::vector<std::string> sets;
  for (const char* name : {"baseline", "avx2", "avx512"}) {
    korvel_batch* batch = nullptr;
    if (korvel_batch_create(&batch, 1, name) == KORVEL_BATCH_OK) sets.emplace_back(name);
    korvel_batch_destroy(batch);
  }
  return sets;
}

std::size_t count_different(const Rows& a, const Rows& b) {
  std::size_t count = a.values.size() != b.values.size() ? 1 : 0;
  for (std::size_t i = 0; i < std::min(a.values.size(), b.values.size()); ++i) {
    const float x = a.values[i] + 0.0F;
    const float y = b.values[i] + 0.0F;
    if (std::memcmp(&x, &y, sizeof x) != 0) ++count;
  }
  return count;
}

}  // namespace korvel::tests
