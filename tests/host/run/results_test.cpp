#include "host/robot/module.h"
#include "host/robot/robot.h"
#include "motion/motion.h"
#include "support/expect.h"
#include "support/truth.h"
#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

class Results : public CommandTest {};

// The root moves without turning, so that its rates in its own frame are plain.
TEST_F(Results, AreThoseOfTheTextbook) {
  const System system = Module(KORVEL_MODULE).create();
  const std::vector<std::string> joints = joint_names(*system);
  Random random(6);
  Eigen::Matrix<float, 30, 3> polynomials;
  random.fill(polynomials, 1);
  polynomials.block<3, 2>(3, 1).setZero();
  const Eigen::Matrix<double, 30, 3> p = polynomials.cast<double>();
  const auto q = [&](double t) -> tests::Truth::Vector { return p.col(0) + t * p.col(1) + t * t * p.col(2); };
  const double times[] = {-1, -0.5, -0.25, 0, 0.125, 0.75};
  std::string text = fmt::format("time,x,y,z,roll,pitch,yaw,{}\n", fmt::join(joints, ","));
  for (const double t : times) text += fmt::format("{},{}\n", t, fmt::join(q(t), ","));
  write(directory_ / "motion.csv", text);
  auto columns = results();
  ASSERT_EQ(columns["time"].size(), std::size(times));
  // The time, four numbers of each joint, two centres of mass, and for each body its origin and its centre of mass.
  EXPECT_EQ(columns.size(), 1U + 4 * 24 + 2 * 3 + 25 * 2 * 3);

  for (std::size_t row = 0; row < std::size(times); ++row) {
    const double t = times[row];
    State state(*system);
    state.q = q(t).cast<float>();
    const Eigen::Matrix3d to_root = tests::Truth(state).pose(0).linear().transpose();
    tests::Truth::Vector dq = p.col(1) + 2 * t * p.col(2);
    tests::Truth::Vector ddq = 2 * p.col(2);
    dq.head(3) = to_root * dq.head(3);
    ddq.head(3) = to_root * ddq.head(3);
    state.dq = dq.cast<float>();
    state.ddq = ddq.cast<float>();
    const tests::Truth truth(state);
    const tests::Truth::Vector forces = truth.forces(state);
    const tests::Truth::Vector scale = truth.force_scale(state);
    for (Eigen::Index j = 0; j < 24; ++j) {
      const std::string& joint = joints[static_cast<std::size_t>(j)];
      const float torque = columns.at(joint + "_torque")[row];
      const float speed = columns.at(joint + "_speed")[row];
      EXPECT_NEAR(torque, forces(6 + j), tests::dynamic * scale(6 + j)) << joint << " at " << t;
      EXPECT_NEAR(columns.at(joint + "_angle")[row], q(t)(6 + j), tests::kinematic * 3) << joint << " at " << t;
      EXPECT_NEAR(speed, dq(6 + j), tests::kinematic * 3) << joint << " at " << t;
      EXPECT_EQ(columns.at(joint + "_power")[row], torque * speed) << joint << " at " << t;
    }
    const auto expect_point = [&](const std::string& name, const Eigen::Vector3d& point) {
      const double tolerance = tests::kinematic * (2 + truth.pose(0).translation().norm());
      EXPECT_NEAR(columns.at(name + "_x")[row], point.x(), tolerance) << name << " at " << t;
      EXPECT_NEAR(columns.at(name + "_y")[row], point.y(), tolerance) << name << " at " << t;
      EXPECT_NEAR(columns.at(name + "_z")[row], point.z(), tolerance) << name << " at " << t;
    };
    double mass = 0;
    for (int b = 0; b < 25; ++b) {
      mass += truth.mass(b);
      const std::string& name = system->getBodyName(static_cast<unsigned long>(b));
      expect_point(name, truth.pose(b).translation());
      expect_point(name + "_com", truth.com(b));
    }
    expect_point("com", truth.first_moment() / mass);
    expect_point("com_root", truth.pose(0).inverse() * (truth.first_moment() / mass));
  }
}

}  // namespace
}  // namespace korvel::host
