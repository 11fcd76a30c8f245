// Tests the algorithms on this robot, and on chains, stars and trees whose numbers are drawn when they are compiled.

#include "contract/states.h"
#include "metapod/algos/partial_com_jacobian.h"
#include "metapod/algos/partial_crba.h"
#include "metapod/models/korvel/korvel.h"
#include "plugin/dynamics.h"
#include "plugin/inputs.h"
#include "plugin/kinematics.h"
#include "plugin/state.h"
#include "support/expect.h"
#include "support/truth.h"

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
  /// Returns a number from -8 to 8.
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

constexpr Inertia point_mass(float mass, const Vector3& at) { return Inertia::from_center_of_mass(mass, at, {}); }

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

template <typename R, template <typename...> class P>
struct Case {
  using Robot = R;
  using Model = metapod::models::Model<R, P<R>>;
};

template <typename Tested>
class Trees : public testing::Test {
 protected:
  using Model = typename Tested::Model;
  static constexpr int bodies = Model::body_count;
  static constexpr int joints = bodies - 1;
  static constexpr int coordinates = Model::dof_count;
  static constexpr int states = 50;
  /// The trees are no longer than the robot's limbs: within 2 m of the root.
  static constexpr double length = 2;

  State draw_state() {
    State s(system);
    random.fill(s.q, 3);
    s.q.head(3) /= 3;
    s.q(4) /= 2;
    if (random.integer() % 3 == 0) s.q(root_coordinates) *= 1e6F;  // many turns
    random.fill(s.dq, 2);
    random.fill(s.ddq, 5);
    random.fill(s.wrenches, 3);
    return s;
  }

  /// Computes by the operations of the interface.
  void compute(const State& s) {
    system.setRootPose(s.root_pose());
    system.setRootVelocity(s.root_velocity());
    system.setRootAcceleration(s.root_acceleration());
    system.setJointAnglesPos(s.q.tail(joints).array());
    system.setJointAnglesVel(s.dq.tail(joints).array());
    system.setJointAnglesAcc(s.ddq.tail(joints).array());
    for (unsigned long b = 0; b < bodies; ++b) system.setExternalWrench(b, s.wrench(b));
    system.computeFwdKinematics();
    system.computeGeneralizedMass();
    system.computeInverseDynamics();
  }

  /// Computes by the algorithms alone. The root's forces and the partial mass matrices are no results of an operation.
  void run_joint_pass(const State& s) {
    angles.take_root(s.q[3], s.q[4], s.q[5]);
    metapod::jcalc<Model>::run(model, s.q.data(), angles, s.dq.data());
  }
  Eigen::VectorXf forces(const State& s) {
    metapod::ExternalForces<Model> external;
    for (int b = 0; b < bodies; ++b) external.set(b, tesk::force_of(s.wrench(static_cast<unsigned long>(b))));
    Eigen::VectorXf forces = Eigen::VectorXf::Zero(coordinates);
    run_joint_pass(s);
    metapod::rnea<Model, metapod::after_jcalc>::run(model, s.ddq.data(), external, forces.data());
    return forces;
  }
  Eigen::MatrixXf partial_mass_matrix(const State& s, int without) {
    Eigen::MatrixXf H = Eigen::MatrixXf::Zero(coordinates, coordinates);
    run_joint_pass(s);
    metapod::partial_crba<Model>::run(model, H.data(), without);
    return H;
  }

  const Bodies table = bodies_of({std::begin(Tested::Robot::bodies), std::end(Tested::Robot::bodies)});
  tesk::MetapodRigidBodySystem<Model> system;
  Model model;
  metapod::SinesAndCosines<Model> angles;
  Random random{1};
};

using Cases = testing::Types<Case<Chain<1>, OneBodyPerNode>, Case<Bush<2>, OneBodyPerNode>, Case<Star<3>, LimbsInLanes>,
                             Case<Star<4>, LimbsInLanes>, Case<Spider, LimbsInLanes>, Case<KorvelRobot, OneBodyPerNode>,
                             Case<KorvelRobot, LimbsInLanes>>;
static_assert(Model<Star<3>, LimbsInLanes<Star<3>>>::node_count == 4, "trunk and three levels");
static_assert(Model<Spider, LimbsInLanes<Spider>>::node_count == 6, "trunk, tail, two tips, two levels of legs");
TYPED_TEST_SUITE(Trees, Cases);

TYPED_TEST(Trees, PosesAndCentresOfMassAreThoseOfTheTextbook) {
  const double tolerance = kinematic * this->length;
  for (int k = 0; k < this->states; ++k) {
    const State state = this->draw_state();
    const Truth truth(this->table, state);
    this->compute(state);
    double mass = 0;
    for (int b = 0; b < this->bodies; ++b) {
      const auto body = static_cast<unsigned long>(b);
      EXPECT_TRUE(near(eigen(this->system.getPose(body)).matrix(), truth.pose(b).matrix(), tolerance)) << b;
      EXPECT_TRUE(near(eigen(this->system.getComPosition(body)), truth.com(b), tolerance)) << b;
      mass += truth.mass(b);
    }
    EXPECT_TRUE(near(eigen(this->system.getComPosition()), truth.first_moment() / mass, tolerance));
  }
}

TYPED_TEST(Trees, MassMatrixAndForcesAreThoseOfTheTextbook) {
  for (int k = 0; k < this->states; ++k) {
    const State state = this->draw_state();
    const Truth truth(this->table, state);
    this->compute(state);
    EXPECT_TRUE(near(this->system.getGeneralizedMass(), truth.mass_matrix(), dynamic, truth.inertia_scale()));
    const Eigen::VectorXd forces = truth.forces(state);
    const Eigen::VectorXd scale = truth.force_scale(state);
    EXPECT_TRUE(near(this->forces(state), forces, dynamic, scale));
    EXPECT_TRUE(
        near(eigen(this->system.getJointAnglesTorque()), forces.tail(this->joints), dynamic, scale.tail(this->joints)));
  }
}

// An index that is no body leaves nothing out.
TYPED_TEST(Trees, PartialMassMatrixIsThatOfTheTextbookWithoutTheBody) {
  for (int b = 0; b <= this->bodies; ++b) {
    const State state = this->draw_state();
    Bodies others = this->table;
    if (b < this->bodies) {
      others[static_cast<std::size_t>(b)].m = 0;
      others[static_cast<std::size_t>(b)].Ic.setZero();
    }
    const Eigen::MatrixXd scale = Truth(this->table, state).inertia_scale();
    const Eigen::MatrixXf H = this->partial_mass_matrix(state, b);
    EXPECT_TRUE(near(H, Truth(others, state).mass_matrix(), dynamic, scale)) << b;
    // The jacobian of the centre of mass has the bits of the rows of linear momentum, turned into the world.
    Eigen::MatrixXf J(3, this->coordinates);
    metapod::partial_com_jacobian<typename TestFixture::Model>::run(this->model, J.data(), b);
    const auto& E = metapod::node<0>(this->model).iXp.E;
    for (int c = 0; c < this->coordinates; ++c) {
      const auto [x, y, z] = E.applyTransposed(Vector3{H(0, c), H(1, c), H(2, c)});
      EXPECT_EQ(Eigen::Vector3f(J.col(c)), Eigen::Vector3f(x, y, z)) << b << ' ' << c;
    }
  }
}

}  // namespace
}  // namespace korvel::tests
