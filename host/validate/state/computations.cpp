#include <algorithm>

#include "host/validate/core/require.h"
#include "host/validate/observe/require_same.h"
#include "host/validate/state/state.h"

namespace korvel::validate {

namespace {

using namespace std::chrono_literals;
using Robot = tesk::RigidBodySystem;

template <auto compute>
std::vector<float> call(Robot& robot) {
  (robot.*compute)();
  return {};
}

/// But for the root's, which is a stored result.
std::vector<float> partial_coms(Robot& robot) {
  std::vector<float> all;
  for (unsigned long b = 1; b < robot.getNbBodies(); ++b) {
    const QZ::Math::Position3D com = robot.computePartialComPositionInRoot(b);
    all.insert(all.end(), {com.x, com.y, com.z});
  }
  return all;
}

std::vector<float> partial_com_jacobians(Robot& robot) {
  std::vector<float> all;
  Robot::ComJacobian J;
  for (unsigned long b = 0; b < robot.getNbBodies(); ++b) {
    robot.computePartialComJacobian(b, J);
    all.insert(all.end(), J.data(), J.data() + J.size());
  }
  return all;
}

}  // namespace

const std::vector<Computation> computations = {
    {"computeGeneralizedMass", call<&Robot::computeGeneralizedMass>, written_by({Stage::generalized_mass})},
    {"computePartialComPositionInRoot", partial_coms, {}},
    {"computePartialComJacobian", partial_com_jacobians, {}},
    {"computeFwdKinematicsOnlyRoot", call<&Robot::computeFwdKinematicsOnlyRoot>, written_by({Stage::only_root})},
    {"computeInverseDynamics", call<&Robot::computeInverseDynamics>, written_by({Stage::inverse_dynamics})},
    {"computeFwdKinematicsExceptRoot", call<&Robot::computeFwdKinematicsExceptRoot>, written_by({Stage::except_root})},
    {"computeFwdKinematics", call<&Robot::computeFwdKinematics>, written_by({Stage::except_root, Stage::only_root})}};

void leave_past(Robot& robot, std::uint64_t seed) {
  const unsigned long last = robot.getNbBodies() - 1;
  compute(random_state(seed, robot), robot);
  robot.setVolatilePose(0, robot.getPose(last));
  robot.setPose(last, robot.getPose(last - 1));
  write(random_state(seed + 1, robot), robot);
  robot.computeInverseDynamics();
  write(random_state(seed + 2, robot), robot);
}

namespace {

std::string writes_nothing_else(const Subject& subject) {
  constexpr int states = 16;
  const host::System robot = create(subject);
  const Robot::Jacobian at_first = robot->getJacobianInRoot();
  for (std::uint64_t s = 0; s < states; ++s) {
    for (const Computation& computation : computations) {
      leave_past(*robot, subject.seed + s);
      const std::vector<float> before = everything_readable(*robot);
      computation.run(*robot);
      require_same(*robot, before, fmt::format("{}, seed {}", computation.name, subject.seed + s), computation.writes);
      require(std::equal(at_first.data(), at_first.data() + 6 * root_coordinates, robot->getJacobianInRoot().data()),
              "{} changes the root's columns of the jacobian, seed {}", computation.name, subject.seed + s);
    }
  }
  return fmt::format("{} states, {} computations", states, computations.size());
}

std::string no_past(const Subject& subject) {
  const host::System robot = create(subject);
  return with_seeds(subject, 32, [&](std::uint64_t seed) {
    const State state = random_state(seed, *robot);
    const host::System fresh = create(subject);
    compute(state, *fresh);
    compute(state, *robot);
    require_same(*robot, everything_readable(*fresh), fmt::format("other states and seed {}", seed));
  });
}

/// Which joint angles and which root each result is of, when joint angles, root and computations do not go together.
std::string last_inputs(const Subject& subject) {
  constexpr int states = 16;
  for (std::uint64_t s = 0; s < states; ++s) {
    const std::string seed = fmt::format(", seed {}", subject.seed + 2 * s);
    const host::System of_a = create(subject);
    const host::System of_b = create(subject);
    const host::System of_both = create(subject);
    const State a = random_state(subject.seed + 2 * s, *of_a);
    const State b = random_state(subject.seed + 2 * s + 1, *of_b);
    State joints_a_root_b = b;
    joints_of(joints_a_root_b.q) = joints_of(a.q);
    compute(a, *of_a);
    compute(b, *of_b);
    compute(joints_a_root_b, *of_both);

    const host::System robot = create(subject);
    compute(a, *robot);
    write(b, *robot);
    robot->computeFwdKinematicsOnlyRoot();
    robot->computeGeneralizedMass();
    require_same(*robot, everything_readable(*of_both), "a new root" + seed, {Result::torques, Result::positions});
    require(same_bits(partial_com_jacobians(*robot), partial_com_jacobians(*of_both)),
            "computePartialComJacobian does not go with the last kinematics{}", seed);

    robot->computeInverseDynamics();
    robot->computeGeneralizedMass();
    require_same(*robot, everything_readable(*of_b), "inverse dynamics and the mass matrix" + seed,
                 written_by({Stage::except_root, Stage::only_root}));
    require(same_bits(partial_com_jacobians(*robot), partial_com_jacobians(*of_b)),
            "computePartialComJacobian does not go with the last inverse dynamics{}", seed);
    require(same_bits(partial_coms(*robot), partial_coms(*of_a)),
            "computePartialComPositionInRoot does not go with the last kinematics{}", seed);

    robot->computeFwdKinematicsOnlyRoot();
    require_same(*robot, everything_readable(*of_both), "inverse dynamics and computeFwdKinematicsOnlyRoot" + seed,
                 {Result::torques, Result::positions, Result::mass_matrix});
  }
  return fmt::format("{} states", states);
}

std::string partial_indices(const Subject& subject) {
  const host::System robot = create(subject);
  compute(random_state(subject.seed, *robot), *robot);
  robot->setRootPose(random_pose(subject.seed + 1));  // stored results are asked for
  const unsigned long no_bodies[] = {robot->getNbBodies(), robot->getNbBodies() + 1, ~0UL / 2, ~0UL};
  for (const unsigned long b : {0UL, no_bodies[0], no_bodies[1], no_bodies[2], no_bodies[3]}) {
    const auto com = robot->computePartialComPositionInRoot(b);
    require(same(com, robot->getComPosition()), "computePartialComPositionInRoot({}) is not getComPosition()", b);
  }
  for (const Eigen::Index columns : {0, 7, RobotSize(*robot).coordinates()}) {
    for (const unsigned long b : no_bodies) {
      const Robot::ComJacobian before = Robot::ComJacobian::Constant(3, columns, 0.5F);
      Robot::ComJacobian J = before;
      const float* storage = J.data();
      robot->computePartialComJacobian(b, J);
      require(J.cols() == columns && J.data() == storage && J == before,
              "computePartialComJacobian({}) changes a jacobian of {} columns", b, columns);
    }
  }
  return fmt::format("{} indices of no body", std::size(no_bodies));
}

std::string com_jacobian_storage(const Subject& subject) {
  const host::System robot = create(subject);
  compute(random_state(subject.seed, *robot), *robot);
  const unsigned long b = robot->getNbBodies() - 1;
  const int size = RobotSize(*robot).coordinates();
  Robot::ComJacobian expected = Robot::ComJacobian::Constant(3, size, 0.5F);
  const float* storage = expected.data();
  robot->computePartialComJacobian(b, expected);
  require(expected.data() == storage, "a jacobian of {} coefficients was reallocated", expected.size());
  require(expected.allFinite() && !expected.isConstant(0.5F), "the jacobian was not written");
  for (const Eigen::Index columns : {0, 1, size - 1, size + 1, 1000}) {
    Robot::ComJacobian J = Robot::ComJacobian::Constant(3, columns, 0.5F);
    robot->computePartialComJacobian(b, J);
    require(J.cols() == size && J == expected, "a jacobian of {} columns becomes another one than one of {}", columns,
            size);
  }
  return "6 sizes";
}

}  // namespace

Checks computation_checks() {
  return {
      {"state.computations", "A computation writes its results and nothing else that is shown.", 2, 30s,
       writes_nothing_else},
      {"state.no-past", "Equal inputs give equal bits, whatever was computed before.", 2, 30s, no_past},
      {"state.last-inputs", "Each result goes with the inputs of the last computation that it is promised to.", 2, 30s,
       last_inputs},
      {"state.partial-indices", "An index of no body asks for the whole robot, or leaves the jacobian.", 2, 30s,
       partial_indices},
      {"state.com-jacobian", "A jacobian of the right size keeps its storage, any other gets it.", 2, 30s,
       com_jacobian_storage},
  };
}

}  // namespace korvel::validate
