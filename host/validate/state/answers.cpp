#include <cmath>
#include <typeinfo>

#include "host/validate/core/require.h"
#include "host/validate/observe/shown.h"
#include "host/validate/state/state.h"

namespace korvel::validate {

namespace {

using namespace std::chrono_literals;
using Robot = tesk::RigidBodySystem;

std::string initial_values(const Subject& subject) {
  const host::System robot = create(subject);
  std::vector<float> expected(Shown::end);
  for (auto pose = Shown::poses; pose < Shown::com; pose += 12) {
    for (const auto diagonal : {0, 5, 10}) expected[static_cast<std::size_t>(pose + diagonal)] = 1;
  }
  // Columns 0 to 2 of the jacobian are linear motions, 3 to 5 angular ones; angular rows come first.
  for (int d = 0; d < 6; ++d) expected[static_cast<std::size_t>(Shown::jacobian + 6 * d + (d + 3) % 6)] = 1;
  std::vector<float> seen = everything_readable(*robot);
  for (float& value : seen) value += 0.0F;  // the sign of a zero is not promised
  require_same(seen, expected, "create");

  // No wrench is set: setting zeros makes no difference.
  const host::System unloaded = create(subject);
  for (unsigned long b = 0; b < unloaded->getNbBodies(); ++b) unloaded->setExternalWrench(b, std::vector<float>(6));
  robot->computeInverseDynamics();
  unloaded->computeInverseDynamics();
  require_same(everything_readable(*robot), everything_readable(*unloaded), "inverse dynamics without wrenches");
  return fmt::format("{} numbers", expected.size());
}

std::string identity_poses(const Subject& subject) {
  constexpr int states = 16;
  const QZ::Math::Transform identity;
  const host::System robot = create(subject);
  for (std::uint64_t s = 0; s < states; ++s) {
    compute(random_state(subject.seed + s), *robot);
    for (unsigned long b = 0; b < robot->getNbBodies(); ++b) robot->setPose(b, robot->getPose(5));
    require(same(robot->getPoseInRoot(0), identity), "the root's pose in the root moves, seed {}", subject.seed + s);
    require(same(robot->getPose(~0UL), identity), "the world's pose moves, seed {}", subject.seed + s);
    require(&robot->getRootPose() == &robot->getPose(0), "getRootPose() is not the object that getPose(0) is");
  }
  return fmt::format("{} states", states);
}

/// What the call throws: nothing but std::out_of_range is promised.
template <typename Query>
std::string thrown(const Query& query) {
  try {
    return fmt::format("nothing, it returned {}", query());
  } catch (const std::out_of_range& error) {
    return typeid(error) == typeid(std::out_of_range) ? error.what() : typeid(error).name();
  }
}

std::string unknown_names(const Subject& subject) {
  const host::System robot = create(subject);
  const std::string known = robot->getBodyName(3);
  const std::string unknown[] = {
      "",       known + ' ',           ' ' + known, known.substr(1), known.substr(0, known.size() - 1),
      "\"{}%s", std::string(300, 'x'), "\xff\n"};
  for (const std::string& name : unknown) {
    const std::string expected = fmt::format("no body named \"{}\"", name);
    const std::string seen = thrown([&] { return robot->getBodyId(name); });
    require(seen == expected, "getBodyId threw '{}', expected '{}'", seen, expected);
  }
  for (const std::string& name : unknown) {
    const std::string expected = fmt::format("no joint angle named \"{}\"", name);
    const std::string seen = thrown([&] { return robot->getJointAngleId(name); });
    require(seen == expected, "getJointAngleId threw '{}', expected '{}'", seen, expected);
  }
  const std::string expected = fmt::format("no joint angle named \"{}\"", robot->getRootName());
  const std::string seen = thrown([&] { return robot->getJointAngleId(robot->getRootName()); });
  require(seen == expected, "getJointAngleId of the root's joint threw '{}', expected '{}'", seen, expected);
  // A name goes on after a null character.
  const std::string longer = known + '\0';
  require(thrown([&] { return robot->getBodyId(longer); }).find("nothing") == std::string::npos,
          "getBodyId stops at a null character");
  return fmt::format("{} names", 2 * std::size(unknown) + 2);
}

std::string live_views(const Subject& subject) {
  const host::System robot = create(subject);
  const tesk::FloatRange views[] = {robot->getJointAnglesPos(), robot->getJointAnglesVel(), robot->getJointAnglesAcc(),
                                    robot->getJointAnglesTorque()};
  const auto& pose = robot->getPose(7);
  const auto& pose_in_root = robot->getPoseInRoot(7);
  const auto& volatile_pose = robot->getVolatilePose(0);
  const auto& com = robot->getComPosition();
  const auto& com_in_root = robot->getComPositionInRoot();
  const Eigen::MatrixXf& mass = robot->getGeneralizedMass();
  const Robot::Jacobian& jacobian = robot->getJacobianInRoot();
  const float* data[] = {mass.data(), jacobian.data()};
  constexpr int states = 8;
  for (std::uint64_t s = 0; s < states; ++s) {
    const State state = random_state(subject.seed + s);
    compute(state, *robot);
    robot->setVolatilePose(0, state.root_pose());
    for (unsigned long j = 0; j < robot->getNbJointAngles(); ++j) {
      const auto d = static_cast<Eigen::Index>(6 + j);
      require(same(views[0][j], state.q(d)) && same(views[1][j], state.dq(d)) && same(views[2][j], state.ddq(d)),
              "a view does not show what was set at joint angle {} later, seed {}", j, subject.seed + s);
      require(same(views[3][j], robot->getJointAngleTorque(j)), "the view of the torques is left behind at {}", j);
    }
    require(&pose == &robot->getPose(7) && &pose_in_root == &robot->getPoseInRoot(7) &&
                &volatile_pose == &robot->getVolatilePose(0) && &com == &robot->getComPosition() &&
                &com_in_root == &robot->getComPositionInRoot() && &mass == &robot->getGeneralizedMass() &&
                &jacobian == &robot->getJacobianInRoot() && data[0] == mass.data() && data[1] == jacobian.data(),
            "a result has moved to another address, seed {}", subject.seed + s);
    require(mass(29, 29) > 0 && !same(pose.tx, 0) && !same(com.x, 0), "a reference shows no later result");
  }
  return fmt::format("{} states", states);
}

Checks answer_checks() {
  return {
      {"state.initial-values", "A new object holds zeros and identities.", 2, 30s, initial_values},
      {"state.identity-poses", "The root in the root and the world, as ~0UL, have the identity.", 2, 30s,
       identity_poses},
      {"state.unknown-names", "An unknown name throws std::out_of_range that quotes it.", 2, 30s, unknown_names},
      {"state.live-views", "Views and references keep their address and show later values.", 2, 30s, live_views},
  };
}

}  // namespace

Checks state_checks() { return joined({answer_checks, input_checks, object_checks, mass_checks, computation_checks}); }

}  // namespace korvel::validate
