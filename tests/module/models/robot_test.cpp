#include "metapod/models/korvel/korvel.h"
#include "support/expect.h"
#include "support/robot_table.h"
#include "support/truth.h"

namespace korvel::tests {
namespace {

using Eigen::Vector3d;

// Joints whose frame is parallel to the parent's keep the cheap kind of rotation.
template <int... i>
constexpr bool about_z =
    (std::is_same_v<decltype(metapod::NodeOf<metapod::korvel, i>::iXp.E), metapod::Spatial::RotationMatrixAboutZ> &&
     ...);
static_assert(about_z<1, 11, 12, 17, 18> && !about_z<0> && !about_z<2> && !about_z<13>);

/// Returns the place that a mirror across the plane of x and z shows.
Vector3d mirrored(const Vector3d& v) { return {v.x(), -v.y(), v.z()}; }

class MirrorImage : public ModuleTest {
 protected:
  unsigned long twin(unsigned long b) const {
    std::string name = robot->getBodyName(b);
    if (name[0] == 'L' || name[0] == 'R') name[0] = name[0] == 'L' ? 'R' : 'L';
    return robot->getBodyId(name);
  }
  static Vector3d axis(const System& system, unsigned long b) { return eigen(system->getPose(b)).linear().col(2); }
};

TEST_F(MirrorImage, StartsFromJointsWhereTheyBelong) {
  struct Joint {
    unsigned long b;
    Vector3d origin, axis;
  };
  constexpr auto half = static_cast<double>(0.707107F);
  const Joint left_and_head[] = {{1, {0, 0, 0.1265}, {0, 0, 1}},        {2, {0, 0, 0.1265}, {0, 1, 0}},
                                 {3, {0, 0.098, 0.1}, {0, 1, 0}},       {4, {0, 0.098, 0.1}, {0, 0, 1}},
                                 {5, {0.105, 0.113, 0.1}, {1, 0, 0}},   {6, {0.105, 0.113, 0.1}, {0, 0, 1}},
                                 {7, {0.16095, 0.113, 0.1}, {1, 0, 0}}, {8, {0, 0.05, -0.085}, {0, half, -half}},
                                 {9, {0, 0.05, -0.085}, {1, 0, 0}},     {10, {0, 0.05, -0.085}, {0, 1, 0}},
                                 {11, {0, 0.05, -0.185}, {0, 1, 0}},    {12, {0, 0.05, -0.2879}, {0, 1, 0}},
                                 {13, {0, 0.05, -0.2879}, {1, 0, 0}}};
  float mass = 0;
  for (const auto& body : robot_table()) mass += body.inertia.m;
  EXPECT_EQ(robot->getMass(), mass);
  robot->computeFwdKinematics();
  const Truth at_zero{State(*robot)};
  for (const auto& [b, origin, axis_of_left] : left_and_head) {
    const double tolerance = b == 8 ? 0 : kinematic;
    const Vector3d axis_of_right = axis_of_left.cwiseAbs();  // pitches, rolls and yaws of both sides go the same way
    EXPECT_TRUE(near(eigen(robot->getPose(b)).translation(), origin, kinematic / 2)) << b;
    // The double-precision robot reads the same table.
    EXPECT_TRUE(near(at_zero.pose(static_cast<int>(b)).translation(), origin, kinematic / 2)) << b;
    EXPECT_TRUE(near(at_zero.pose(static_cast<int>(twin(b))).translation(), mirrored(origin), kinematic / 2)) << b;
    EXPECT_TRUE(near(axis(robot, b), axis_of_left, tolerance)) << b;
    EXPECT_TRUE(near(axis(robot, twin(b)), axis_of_right, tolerance)) << b;
    EXPECT_EQ(robot->getMass(b), robot->getMass(twin(b))) << b;
    EXPECT_TRUE(near(eigen(robot->getComPosition(b)), mirrored(eigen(robot->getComPosition(twin(b)))), kinematic)) << b;
  }
}

// Every body of the table is a point mass: its rotational inertia follows from mass and first moment, number by number.
TEST(RobotTable, InertiasSatisfyTheParallelAxisRule) {
  for (const auto& row : robot_table()) {
    const auto& [mass, h, I] = row.inertia;
    const auto expect = [b = row.name, m = static_cast<double>(mass)](float value, double by_mass) {
      EXPECT_NEAR(static_cast<double>(value), by_mass / m, 2 * eps * std::abs(by_mass / m)) << b;
    };
    const Vector3d moment = Eigen::Vector3f(h.x, h.y, h.z).cast<double>();
    const double x = moment.x(), y = moment.y(), z = moment.z();
    EXPECT_GT(mass, 0) << row.name;
    expect(I.xx, y * y + z * z), expect(I.yy, x * x + z * z), expect(I.zz, x * x + y * y);
    expect(I.yx, -x * y), expect(I.zx, -x * z), expect(I.zy, -y * z);
  }
}

// Four of them are stored with six digits.
TEST(RobotTable, RotationsAreOrthonormal) {
  for (const Body& body : robot_bodies()) {
    const Eigen::Matrix3d E = body.frame.linear();
    EXPECT_TRUE(near(E * E.transpose(), Eigen::Matrix3d::Identity(), 7e-7)) << E;
    EXPECT_GT(E.determinant(), 0) << E;
  }
}

}  // namespace
}  // namespace korvel::tests
