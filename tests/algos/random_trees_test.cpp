// What holds of this robot holds of others: chains, stars and trees whose numbers are drawn when they are compiled.

#include "plugin/dynamics.h"
#include "plugin/inputs.h"
#include "plugin/kinematics.h"
#include "plugin/state.h"
#include "states/states.h"
#include "support/expect.h"

namespace korvel::tests {
namespace {

using namespace metapod::models;
using metapod::Spatial::Inertia;
using metapod::Spatial::Matrix3;
using metapod::Spatial::Vector3;

/// Small whole numbers, the same whenever they are compiled.
class Draw {
 public:
  constexpr explicit Draw(unsigned seed) : state_(seed * 2654435761U + 1) {}
  /// From -8 to 8.
  constexpr int operator()() {
    state_ = state_ * 1664525U + 1013904223U;
    return static_cast<int>((state_ >> 16) % 17) - 8;
  }
  constexpr float metres() { return static_cast<float>((*this)()) / 32; }

 private:
  unsigned state_;
};

/// The rotation of a quaternion of whole numbers.
constexpr Matrix3 draw_rotation(Draw& draw) {
  const int a = 9;  // never all zero
  const int b = draw();
  const int c = draw();
  const int d = draw();
  const float n = static_cast<float>(a * a + b * b + c * c + d * d);
  const auto entry = [n](int x) { return static_cast<float>(x) / n; };
  return rows({entry(a * a + b * b - c * c - d * d), entry(2 * (b * c - a * d)), entry(2 * (b * d + a * c))},
              {entry(2 * (b * c + a * d)), entry(a * a - b * b + c * c - d * d), entry(2 * (c * d - a * b))},
              {entry(2 * (b * d - a * c)), entry(2 * (c * d + a * b)), entry(a * a - b * b - c * c + d * d)});
}

constexpr BodyDescription draw_body(const char* name, int parent, unsigned seed) {
  Draw draw(seed);
  const Matrix3 rotation = parent == no_parent ? identity : draw_rotation(draw);
  const Vector3 origin = parent == no_parent ? Vector3{0, 0, 0} : Vector3{draw.metres(), draw.metres(), draw.metres()};
  const Vector3 com{draw.metres(), draw.metres(), draw.metres()};
  const float products[] = {draw.metres() / 16, draw.metres() / 16, draw.metres() / 16};
  return {
      name, parent, rotation, origin,
      Inertia::from_center_of_mass(1 + draw.metres(), com, {0.1F, products[0], 0.2F, products[1], products[2], 0.15F})};
}

template <unsigned seed>
struct Chain {
  static constexpr BodyDescription bodies[] = {
      draw_body("0", no_parent, 6 * seed + 0), draw_body("1", 0, 6 * seed + 1), draw_body("2", 1, 6 * seed + 2),
      draw_body("3", 2, 6 * seed + 3),         draw_body("4", 3, 6 * seed + 4), draw_body("5", 4, 6 * seed + 5),
  };
};

/// Branches at the root and further out.
template <unsigned seed>
struct Bush {
  static constexpr BodyDescription bodies[] = {
      draw_body("0", no_parent, 8 * seed + 0), draw_body("1", 0, 8 * seed + 1), draw_body("2", 1, 8 * seed + 2),
      draw_body("3", 1, 8 * seed + 3),         draw_body("4", 2, 8 * seed + 4), draw_body("5", 0, 8 * seed + 5),
      draw_body("6", 5, 8 * seed + 6),         draw_body("7", 5, 8 * seed + 7),
  };
};

/// Four limbs, two of which lack the last body.
template <unsigned seed>
struct Star {
  static constexpr BodyDescription bodies[] = {
      draw_body("0", no_parent, 11 * seed + 0), draw_body("1", 0, 11 * seed + 1),   draw_body("2", 1, 11 * seed + 2),
      draw_body("3", 0, 11 * seed + 3),         draw_body("4", 3, 11 * seed + 4),   draw_body("5", 4, 11 * seed + 5),
      draw_body("6", 0, 11 * seed + 6),         draw_body("7", 6, 11 * seed + 7),   draw_body("8", 7, 11 * seed + 8),
      draw_body("9", 0, 11 * seed + 9),         draw_body("10", 9, 11 * seed + 10),
  };
};

/// In double precision, from the table alone.
template <typename Robot>
class Textbook {
 public:
  static constexpr int bodies = static_cast<int>(std::size(Robot::bodies));
  static constexpr int joints = bodies - 1;

  Textbook(const Eigen::Affine3d& root, const Eigen::ArrayXf& angles) {
    for (int b = 0; b < bodies; ++b) {
      const auto& [x, y, z] = row(b).rotation;
      Eigen::Affine3d frame = Eigen::Affine3d::Identity();
      frame.linear() << vector(x).transpose(), vector(y).transpose(), vector(z).transpose();
      frame.translation() = vector(row(b).translation);
      poses.push_back(b == 0 ? root
                             : poses[static_cast<std::size_t>(row(b).parent)] * frame *
                                   Eigen::AngleAxisd(static_cast<double>(angles(b - 1)), Eigen::Vector3d::UnitZ()));
    }
  }

  double mass(int b) const { return static_cast<double>(row(b).inertia.m); }
  Eigen::Vector3d com(int b) const { return pose(b) * (vector(row(b).inertia.h) / mass(b)); }
  const Eigen::Affine3d& pose(int b) const { return poses[static_cast<std::size_t>(b)]; }

  /// Motion of body b and of its centre of mass per unit velocities; world axes, angular rows first.
  Eigen::MatrixXd jacobian(int b) const {
    Eigen::MatrixXd J = Eigen::MatrixXd::Zero(6, 6 + joints);
    const Eigen::Matrix3d& R = pose(0).linear();
    J.block<3, 3>(3, 0) = R;
    for (int k = 0; k < 3; ++k) J.col(3 + k) << R.col(k), R.col(k).cross(com(b) - pose(0).translation());
    for (int i = b; i > 0; i = row(i).parent) {
      const Eigen::Vector3d axis = pose(i).linear().col(2);
      J.col(5 + i) << axis, axis.cross(com(b) - pose(i).translation());
    }
    return J;
  }

  /// Sum over bodies of what each needs to be accelerated.
  Eigen::MatrixXd mass_matrix() const {
    Eigen::MatrixXd M = Eigen::MatrixXd::Zero(6 + joints, 6 + joints);
    for (int b = 0; b < bodies; ++b) {
      const auto& I = row(b).inertia.I;
      Eigen::Matrix3f about_origin;
      about_origin << I.xx, I.yx, I.zx, I.yx, I.yy, I.zy, I.zx, I.zy, I.zz;
      const Eigen::Vector3d c = vector(row(b).inertia.h) / mass(b);
      const Eigen::Matrix3d about_com =
          about_origin.cast<double>() - mass(b) * (c.squaredNorm() * Eigen::Matrix3d::Identity() - c * c.transpose());
      const Eigen::MatrixXd J = jacobian(b);
      const Eigen::Matrix3d& R = pose(b).linear();
      M += J.topRows(3).transpose() * R * about_com * R.transpose() * J.topRows(3);
      M += mass(b) * J.bottomRows(3).transpose() * J.bottomRows(3);
    }
    return M;
  }

  /// Generalized forces that hold the robot against gravity.
  Eigen::VectorXd weight() const {
    Eigen::VectorXd sum = Eigen::VectorXd::Zero(6 + joints);
    for (int b = 0; b < bodies; ++b) sum += 9.81 * mass(b) * jacobian(b).row(5).transpose();
    return sum;
  }

 private:
  static const BodyDescription& row(int b) { return Robot::bodies[b]; }
  static Eigen::Vector3d vector(const Vector3& v) { return Eigen::Vector3f(v.x, v.y, v.z).cast<double>(); }

  std::vector<Eigen::Affine3d> poses;
};

template <typename R, template <typename> class P>
struct Case {
  using Robot = R;
  using System = tesk::MetapodRigidBodySystem<Model<R, P<R>>>;
};

template <typename Tested>
class RandomTrees : public testing::Test {
 protected:
  static constexpr int joints = Textbook<typename Tested::Robot>::joints;
  static constexpr int states = 50;

  /// Puts the robot somewhere at rest.
  Textbook<typename Tested::Robot> pose() {
    random.fill(angles, 3);
    const QZ::Math::Transform root =
        QZ::Math::transformFromPosition6D({random(1), random(1), random(1), random(3), random(1.5F), random(3)});
    robot.setRootPose(root);
    robot.setJointAnglesPos(angles);
    robot.computeFwdKinematics();
    return {eigen(root), angles};
  }

  typename Tested::System robot;
  Random random{1};
  Eigen::ArrayXf angles = Eigen::ArrayXf::Zero(joints);
};

using Trees = testing::Types<Case<Chain<1>, OneBodyPerNode>, Case<Bush<2>, OneBodyPerNode>, Case<Star<3>, LimbsInLanes>,
                             Case<Star<4>, LimbsInLanes>>;
static_assert(Model<Star<3>, LimbsInLanes<Star<3>>>::node_count == 4, "trunk and three levels");
TYPED_TEST_SUITE(RandomTrees, Trees);

// The trees are no longer than the robot's limbs and about as large and heavy: within 2 m and 15 kg of the root.
constexpr double length = 2;
constexpr double moment = 15 * length * length;

TYPED_TEST(RandomTrees, PosesAndCentresOfMassAreThoseOfMatrices) {
  for (int k = 0; k < this->states; ++k) {
    const auto truth = this->pose();
    Eigen::Vector3d sum = Eigen::Vector3d::Zero();
    double mass = 0;
    for (int b = 0; b < truth.bodies; ++b) {
      const auto body = static_cast<unsigned long>(b);
      EXPECT_TRUE(near(eigen(this->robot.getPose(body)).matrix(), truth.pose(b).matrix(), kinematic * length)) << b;
      EXPECT_TRUE(near(eigen(this->robot.getComPosition(body)), truth.com(b), kinematic * length)) << b;
      sum += truth.mass(b) * truth.com(b);
      mass += truth.mass(b);
    }
    EXPECT_TRUE(near(eigen(this->robot.getComPosition()), sum / mass, kinematic * length));
  }
}

TYPED_TEST(RandomTrees, MassMatrixIsTheSumOverBodies) {
  for (int k = 0; k < this->states; ++k) {
    const auto truth = this->pose();
    this->robot.computeGeneralizedMass();
    EXPECT_TRUE(near(this->robot.getGeneralizedMass(), truth.mass_matrix(), dynamic * moment));
  }
}

TYPED_TEST(RandomTrees, TorquesAtRestCarryTheWeightAndColumnsOfTheMassMatrixAccelerate) {
  auto& system = this->robot;
  for (int k = 0; k < this->states; ++k) {
    const auto truth = this->pose();
    system.computeInverseDynamics();
    system.computeGeneralizedMass();
    const Eigen::VectorXd resting = eigen(system.getJointAnglesTorque());
    EXPECT_TRUE(near(resting, truth.weight().tail(this->joints), dynamic * moment * 9.81));
    Eigen::VectorXf ddq(6 + this->joints);
    this->random.fill(ddq, 5);
    system.setRootAcceleration({ddq(0), ddq(1), ddq(2), ddq(3), ddq(4), ddq(5)});
    system.setJointAnglesAcc(ddq.tail(this->joints).array());
    system.computeInverseDynamics();
    const Eigen::VectorXd expected = resting + (truth.mass_matrix() * ddq.template cast<double>()).tail(this->joints);
    EXPECT_TRUE(near(eigen(system.getJointAnglesTorque()), expected,
                     dynamic * moment * (9.81 + ddq.template cast<double>().cwiseAbs().sum())));
    system.setRootAcceleration({});
    system.setJointAnglesAcc(Eigen::ArrayXf::Zero(this->joints));
  }
}

}  // namespace
}  // namespace korvel::tests
