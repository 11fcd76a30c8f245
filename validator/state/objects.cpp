#include <limits>

#include "validator/core/check.h"
#include "validator/observe/require_same.h"

namespace korvel::validate {

namespace {

using Robot = tesk::RigidBodySystem;

/// Ends as its original does.
host::System cloned(const host::System& robot) { return {robot->clone().release(), robot.get_deleter()}; }

std::string destroys(const Subject& subject) {
  const host::Module module(subject.module);
  host::System robot = module.create();
  robot.get_deleter()(nullptr);
  robot.get_deleter()(robot->clone().release());
  robot->clone().reset();  // by the pointer alone
  robot->clone()->clone()->clone().reset();
  std::vector<host::System> many;
  for (int i = 0; i < 64; ++i) many.push_back(i % 3 == 0 ? module.create() : cloned(many.back()));
  for (std::size_t i = 0; i < many.size(); i += 2) many[i].reset();  // originals before their clones
  for (std::size_t i = 1; i < many.size(); i += 2) compute(random_state(subject.seed, *many[i]), *many[i]);
  return fmt::format("{} objects", many.size() + 5);
}

std::string aligns_matrices(const Subject& subject) {
  constexpr std::uintptr_t widest_vector = 64;
  const host::Module module(subject.module);
  std::vector<host::System> many;  // to see storage at many places
  for (int i = 0; i < 64; ++i) {
    many.push_back(i % 3 == 0 ? module.create() : cloned(many.back()));
    for (const float* begin : {many.back()->getGeneralizedMass().data(), many.back()->getJacobianInRoot().data()}) {
      require(reinterpret_cast<std::uintptr_t>(begin) % widest_vector == 0,
              "a matrix of object {} begins at {}, not at a multiple of {} bytes", i, fmt::ptr(begin), widest_vector);
    }
  }
  return fmt::format("{} matrices", 2 * many.size());
}

// The upper triangle is filled with what would spread.
std::string lower_triangle(const Subject& subject) {
  const host::System robot = create(subject);
  const State state = random_state(subject.seed, *robot);
  Random random(subject.seed);
  for (unsigned long b = 0; b < robot->getNbBodies(); ++b) {
    Eigen::Matrix3f A;
    random.fill(A, 0.05F);
    Eigen::Matrix3f inertia = A * A.transpose();
    robot->setBodyInertia(b, 1, {0.1F, -0.1F, 0.05F}, inertia);
    compute(state, *robot);
    const std::vector<float> expected = everything_readable(*robot);
    inertia.triangularView<Eigen::StrictlyUpper>().setConstant(std::numeric_limits<float>::quiet_NaN());
    robot->setBodyInertia(b, 1, {0.1F, -0.1F, 0.05F}, inertia);
    compute(state, *robot);
    require_same(*robot, expected, fmt::format("the upper triangle of the inertia of body {}", b));
  }
  return fmt::format("{} bodies", robot->getNbBodies());
}

// ---- Inputs of different times
// ---------------------------------------------------------------------------------------

/// Partial centres of mass but for the root, whose is a stored result.
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

/// Checks from which joint angles and root each result comes, when joint angles, root and computations do not go
/// together.
std::string last_inputs(const Subject& subject) {
  const auto compare = [&](std::uint64_t first_seed) {
    const std::string seed = fmt::format(", seed {}", first_seed);
    const auto computed = [&](const State& state) {
      host::System object = create(subject);
      compute(state, *object);
      return object;
    };
    const host::System robot = create(subject);
    const State a = random_state(first_seed, *robot);
    const State b = random_state(first_seed + 1, *robot);
    State joints_a_root_b = b;
    joints_of(joints_a_root_b.q) = joints_of(a.q);
    const host::System of_a = computed(a);
    const host::System of_b = computed(b);
    const host::System of_both = computed(joints_a_root_b);

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
  };
  return with_seeds(subject, 16, compare, 2);
}

}  // namespace

Checks object_checks() {
  return {
      {"state.aligned-matrices", "Returned matrices begin where the widest vectors of a host may load.",
       aligns_matrices},
      {"state.destroy", "Objects and clones end by destroy in any order, and a null pointer is ignored.", destroys},
      {"state.lower-triangle", "Only the lower triangle of an inertia is read.", lower_triangle},
      {"state.last-inputs", "Each result goes with the inputs of the last computation that it is promised to.",
       last_inputs},
  };
}

}  // namespace korvel::validate
