#include "metapod/models/gravity.h"
#include "plugin/dynamics.h"
#include "plugin/inputs.h"
#include "plugin/kinematics.h"
#include "plugin/state.h"
#include "states/states.h"
#include "support/expect.h"

// The templates serve other robots than the one that is compiled in.

namespace korvel::tests {
namespace {

using namespace metapod::models;
using metapod::Spatial::Inertia;
using metapod::Spatial::Vector3;

constexpr float length = 0.5F;
constexpr float upper_mass = 2;
constexpr float lower_mass = 3;

constexpr Inertia point_mass(float mass, const Vector3& at) { return Inertia::from_center_of_mass(mass, at, {}); }

/// Below a heavy root, turned about a horizontal axis, a rod with a point mass at its end, and another one below it. At
/// zero both hang down along their x axis.
struct DoublePendulum {
  static constexpr BodyDescription bodies[] = {
      {"base", no_parent, identity, {0, 0, 0}, point_mass(10, {0, 0, 0})},
      {"upper", 0, rows({0, 0, -1}, {1, 0, 0}, {0, -1, 0}), {0, 0, 0}, point_mass(upper_mass, {length, 0, 0})},
      {"lower", 1, identity, {length, 0, 0}, point_mass(lower_mass, {length, 0, 0})},
  };
};

/// A tail that branches, and four legs of one shape but for a missing foot; bodies in no particular order.
struct Spider {
  static constexpr BodyDescription bodies[] = {
      {"trunk", no_parent, identity, {0, 0, 0}, {2, {0.1F, 0, 0}, {0.1F, 0, 0.2F, 0, 0, 0.3F}}},
      {"tail", 0, rows({0, 0, 1}, {1, 0, 0}, {0, 1, 0}), {0, 0, 0.3F}, point_mass(1, {0, 0, 0.2F})},
      {"leg0", 0, identity, {0.1F, 0.2F, 0}, {1, {0, 0.1F, 0}, {0.1F, 0.01F, 0.1F, 0, 0, 0.1F}}},
      {"leg1", 0, rows({0, 1, 0}, {-1, 0, 0}, {0, 0, 1}), {0, 0.2F, 0.3F}, point_mass(2, {0.1F, 0, 0.1F})},
      {"leg2", 0, rows({0, 0, 1}, {1, 0, 0}, {0, 1, 0}), {0.1F, 0, 0}, point_mass(1, {0, 0.1F, 0.1F})},
      {"leg3", 0, identity, {0.3F, 0, 0}, {1, {0.1F, 0.1F, 0}, {0.1F, 0, 0.2F, 0, 0.02F, 0.1F}}},
      {"tip1", 1, identity, {0.1F, 0, 0}, point_mass(1, {0.1F, 0, 0})},
      {"foot0", 2, rows({1, 0, 0}, {0, 0, 1}, {0, -1, 0}), {0.2F, 0, 0.1F}, point_mass(0.5F, {0.1F, 0, 0})},
      {"tip2", 1, rows({0, -1, 0}, {1, 0, 0}, {0, 0, 1}), {0, 0.1F, 0}, point_mass(1, {0, 0.2F, 0})},
      {"foot2", 4, identity, {0.2F, 0, 0}, point_mass(0.5F, {0.1F, 0.1F, 0})},
      {"foot3", 5, rows({0, 0, 1}, {1, 0, 0}, {0, 1, 0}), {0, 0.1F, 0}, point_mass(0.5F, {0, 0.2F, 0.1F})},
  };
};

template <typename Robot, template <typename...> class Partition>
using System = tesk::MetapodRigidBodySystem<Model<Robot, Partition<Robot>>>;

// A tree without four equal limbs has nothing to fold.
static_assert(Model<DoublePendulum, LimbsInLanes<DoublePendulum>>::node_count == 3);
static_assert(Model<Spider, LimbsInLanes<Spider>>::node_count == 6, "trunk, tail, two tips, two levels of legs");

TEST(DoublePendulum, HasTheMassMatrixAndTorquesOfTheTextbook) {
  System<DoublePendulum, LimbsInLanes> robot;
  const float angle = 0.7F;
  Eigen::Array2f q(0.3F, angle);
  Eigen::Array2f dq(1.5F, -2);
  robot.setJointAnglesPos(q);
  robot.setJointAnglesVel(dq);
  robot.computeInverseDynamics();
  robot.computeGeneralizedMass();

  const double l2 = static_cast<double>(length * length);
  const double c = std::cos(static_cast<double>(angle));
  const double s = std::sin(static_cast<double>(angle));
  const double m1 = static_cast<double>(upper_mass);
  const double m2 = static_cast<double>(lower_mass);
  const Eigen::Matrix2d H = (Eigen::Matrix2d() << l2 * (m1 + 2 * m2 * (1 + c)), l2 * m2 * (1 + c),  //
                             l2 * m2 * (1 + c), l2 * m2)
                                .finished();
  EXPECT_TRUE(near(robot.getGeneralizedMass().bottomRightCorner<2, 2>(), H, dynamic * H.maxCoeff()));

  const Eigen::Array2d w = dq.cast<double>();
  const double g = static_cast<double>(metapod::minus_g.v.z * length);
  const double sum = std::sin(static_cast<double>(q[0]) + static_cast<double>(q[1]));
  const Eigen::Vector2d torques(
      -l2 * m2 * s * w[1] * (2 * w[0] + w[1]) + g * ((m1 + m2) * std::sin(static_cast<double>(q[0])) + m2 * sum),
      l2 * m2 * s * w[0] * w[0] + g * m2 * sum);
  EXPECT_TRUE(near(eigen(robot.getJointAnglesTorque()), torques, dynamic * torques.cwiseAbs().maxCoeff()));
}

template <typename Robot>
std::vector<float> results(Robot& robot, const Eigen::ArrayXf& joints) {
  robot.setJointAnglesPos(joints);
  robot.setJointAnglesVel(joints);
  robot.setJointAnglesAcc(joints);
  robot.setRootVelocity({1, 2, 3, 4, 5, 6});
  robot.computeFwdKinematics();
  robot.computeGeneralizedMass();
  robot.computeInverseDynamics();
  tesk::RigidBodySystem::ComJacobian J;
  robot.computePartialComJacobian(3, J);
  std::vector<float> values;
  const auto add = [&values](const float* first, Eigen::Index count) {
    for (Eigen::Index k = 0; k < count; ++k) values.push_back(first[k] + 0.0F);
  };
  for (unsigned long b = 0; b < robot.getNbBodies(); ++b) add(&robot.getPose(b).r00, 12);
  add(robot.getJacobianInRoot().data(), robot.getJacobianInRoot().size());
  add(robot.getGeneralizedMass().data(), robot.getGeneralizedMass().size());
  add(robot.getJointAnglesTorque().first, joints.size());
  add(J.data(), J.size());
  add(&robot.getComPosition().x, 3);
  return values;
}

TEST(Spider, HasTheSameBitsWithItsLegsInLanes) {
  System<Spider, LimbsInLanes> in_lanes;
  System<Spider, OneBodyPerNode> per_body;
  Random random(1);
  for (int k = 0; k < 50; ++k) {
    Eigen::ArrayXf joints(static_cast<Eigen::Index>(in_lanes.getNbJointAngles()));
    random.fill(joints, 3);
    EXPECT_TRUE(same_bits(results(in_lanes, joints), results(per_body, joints)));
  }
}

}  // namespace
}  // namespace korvel::tests
