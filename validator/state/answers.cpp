#include <set>
#include <typeinfo>

#include "validator/core/check.h"
#include "validator/observe/require_same.h"

namespace korvel::validate {

namespace {

using Robot = tesk::RigidBodySystem;

std::string initial_values(const Subject& subject) {
  const host::System robot = create(subject);
  const Layout shown(*robot);
  std::vector<float> expected(static_cast<std::size_t>(shown.size()));
  for (auto pose = shown[Result::poses].first; pose < shown[Result::volatile_poses].last; pose += 12) {
    for (const auto diagonal : {0, 5, 10}) expected[static_cast<std::size_t>(pose + diagonal)] = 1;
  }
  // Columns 0 to 2 of the jacobian are linear motions, 3 to 5 angular ones; angular rows come first.
  for (int d = 0; d < 6; ++d)
    expected[static_cast<std::size_t>(shown[Result::jacobian].first + 6 * d + (d + 3) % 6)] = 1;
  std::vector<float> seen = everything_readable(*robot);
  for (float& value : seen) value += 0.0F;  // the sign of a zero is not promised
  require_same(shown, seen, expected, "create");

  // No wrench is set: setting zeros makes no difference.
  const host::System unloaded = create(subject);
  for (unsigned long b = 0; b < unloaded->getNbBodies(); ++b) unloaded->setExternalWrench(b, std::vector<float>(6));
  robot->computeInverseDynamics();
  unloaded->computeInverseDynamics();
  require_same(*robot, everything_readable(*unloaded), "inverse dynamics without wrenches");
  return fmt::format("{} numbers", expected.size());
}

/// Says what the call throws; only std::out_of_range is promised.
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
  const std::string known = robot->getBodyName(robot->getNbBodies() - 1);
  std::set<std::string> unknown{
      "",       known + ' ',           ' ' + known, known.substr(1), known.substr(0, known.size() - 1),
      "\"{}%s", std::string(300, 'x'), "\xff\n"};
  // A name that lacks a letter may be another's.
  for (unsigned long b = 0; b < robot->getNbBodies(); ++b) unknown.erase(robot->getBodyName(b));
  for (unsigned long j = 0; j < robot->getNbJointAngles(); ++j) unknown.erase(robot->getJointAngleName(j));
  const auto expect_thrown = [](const char* query, const char* kind, const std::string& name, const std::string& seen) {
    const std::string expected = fmt::format("no {} named \"{}\"", kind, name);
    require(seen == expected, "{} threw '{}', expected '{}'", query, seen, expected);
  };
  for (const std::string& name : unknown) {
    expect_thrown("getBodyId", "body", name, thrown([&] { return robot->getBodyId(name); }));
    expect_thrown("getJointAngleId", "joint angle", name, thrown([&] { return robot->getJointAngleId(name); }));
  }
  const std::string& root = robot->getRootName();
  expect_thrown("getJointAngleId of the root's joint", "joint angle", root,
                thrown([&] { return robot->getJointAngleId(root); }));
  // A name goes on after a null character.
  const std::string longer = known + '\0';
  require(thrown([&] { return robot->getBodyId(longer); }).find("nothing") == std::string::npos,
          "getBodyId stops at a null character");
  return fmt::format("{} names", 2 * unknown.size() + 2);
}

std::string live_views(const Subject& subject) {
  const host::System robot = create(subject);
  const tesk::FloatRange views[] = {robot->getJointAnglesPos(), robot->getJointAnglesVel(), robot->getJointAnglesAcc(),
                                    robot->getJointAnglesTorque()};
  const unsigned long b = robot->getNbBodies() - 1;
  const auto& pose = robot->getPose(b);
  const auto& pose_in_root = robot->getPoseInRoot(b);
  const auto& volatile_pose = robot->getVolatilePose(0);
  const auto& com = robot->getComPosition();
  const auto& com_in_root = robot->getComPositionInRoot();
  const Eigen::MatrixXf& mass = robot->getGeneralizedMass();
  const Robot::Jacobian& jacobian = robot->getJacobianInRoot();
  const float* data[] = {mass.data(), jacobian.data()};
  return with_seeds(subject, 8, [&](std::uint64_t seed) {
    const State state = random_state(seed, *robot);
    compute(state, *robot);
    robot->setVolatilePose(0, state.root_pose());
    for (unsigned long j = 0; j < robot->getNbJointAngles(); ++j) {
      const auto d = coordinate_of_joint(static_cast<int>(j));
      require(same(views[0][j], state.q(d)) && same(views[1][j], state.dq(d)) && same(views[2][j], state.ddq(d)),
              "a view does not show what was set at joint angle {} later, seed {}", j, seed);
      require(same(views[3][j], robot->getJointAngleTorque(j)), "the view of the torques is left behind at {}", j);
    }
    require(&pose == &robot->getPose(b) && &pose_in_root == &robot->getPoseInRoot(b) &&
                &volatile_pose == &robot->getVolatilePose(0) && &com == &robot->getComPosition() &&
                &com_in_root == &robot->getComPositionInRoot() && &mass == &robot->getGeneralizedMass() &&
                &jacobian == &robot->getJacobianInRoot() && data[0] == mass.data() && data[1] == jacobian.data(),
            "a result has moved to another address, seed {}", seed);
    require(mass(mass.rows() - 1, mass.cols() - 1) > 0 && !same(pose.tx, 0.0F) && !same(com.x, 0.0F),
            "a reference shows no later result");
  });
}

}  // namespace

Checks answer_checks() {
  return {
      {"state.initial-values", "A new object holds zeros and identities.", initial_values},
      {"state.unknown-names", "An unknown name throws std::out_of_range that quotes it.", unknown_names},
      {"state.live-views", "Views and references keep their address and show later values.", live_views},
  };
}

}  // namespace korvel::validate
