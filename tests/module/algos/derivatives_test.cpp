// Derivatives of the generalized forces, in double precision: the text of the algorithms over doubles beside the text
// of inverse dynamics over dual numbers.

#include <gtest/gtest.h>

#include "metapod/algos/rnea_gradient.h"
#include "metapod/models/korvel/korvel.h"
#include "support/dual.h"

namespace korvel::tests {
namespace {

using namespace metapod::models;

constexpr auto quarter = rows({0, 0, 1}, {1, 0, 0}, {0, 1, 0});

constexpr BodyDescription body(const char* name, int parent, const metapod::Spatial::Matrix3& rotation,
                               const metapod::Spatial::Vector3& origin, float m) {
  return {name, parent, rotation, origin,
          metapod::Spatial::Inertia::from_center_of_mass(m, {0.1F * m, -0.2F, 0.05F},
                                                         {0.1F, 0.01F, 0.2F, 0.02F, -0.03F, 0.15F * m})};
}

/// Branches at the root and further out, with rotations of zeros and ones that no rounding makes inexact.
struct Shrub {
  static constexpr BodyDescription bodies[] = {
      body("0", no_parent, identity, {0, 0, 0}, 2),     body("1", 0, quarter, {0.1F, 0, 0.2F}, 1),
      body("2", 1, identity, {0, 0.3F, 0}, 0.5F),       body("3", 1, quarter, {0.2F, 0.1F, -0.3F}, 0.7F),
      body("4", 2, quarter, {0.1F, -0.1F, 0.2F}, 0.4F), body("5", 0, identity, {0, -0.2F, 0.1F}, 1.2F),
      body("6", 5, quarter, {-0.1F, 0.2F, 0}, 0.6F),    body("7", 5, identity, {0.3F, 0, -0.1F}, 0.3F),
  };
};

using Dual = DualOf<true>;
template <typename Robot>
using Exact = DualState<Robot, Dual>;

template <typename Robot>
class Derivatives : public testing::Test {
 protected:
  static constexpr int n = Exact<Robot>::count;
  static constexpr int states = 1000;

  /// Joints within half a turn, 10 rad/s, 50 rad/s^2, wrenches of 20 N and 2 N m on all bodies.
  State draw() {
    State s(RobotSize(metapod::models::body_count<Robot>));
    random.fill(s.q, 3);
    s.q(4) /= 4;  // within 45 degrees, because the rates of roll and yaw grow beyond
    random.fill(s.dq, 10);
    random.fill(s.ddq, 50);
    random.fill(s.wrenches, 20);
    s.wrenches.bottomRows(3) /= 10;
    return s;
  }

  /// The largest error as a share of the largest number of the same row. What a row of less than 0.02 sums up is
  /// larger.
  static double largest_error(const Eigen::MatrixXd& actual, const Eigen::MatrixXd& expected) {
    return ((actual - expected).cwiseAbs().rowwise().maxCoeff().array() /
            expected.cwiseAbs().rowwise().maxCoeff().array().max(0.02))
        .maxCoeff();
  }

  Random random{1};
};

using Robots = testing::Types<KorvelRobot, Shrub>;
TYPED_TEST_SUITE(Derivatives, Robots);

// Entries that the algorithm does not write are zero there too.
TYPED_TEST(Derivatives, MatricesAreThoseOfDualNumbers) {
  constexpr int count = TestFixture::n;
  for (int k = 0; k < this->states; ++k) {
    const Exact<TypeParam> state(this->draw());
    Eigen::MatrixXd position(count, count);
    Eigen::MatrixXd velocity(count, count);
    for (int column = 0; column < count; ++column) {
      Exact<TypeParam> moved = state;
      moved.set_position_direction(Eigen::VectorXd::Unit(count, column));
      position.col(column) = force_derivative(moved);
      moved = state;
      moved.set_velocity_direction(Eigen::VectorXd::Unit(count, column));
      velocity.col(column) = force_derivative(moved);
    }
    const auto results = differentiated(state);
    EXPECT_LT(this->largest_error(Matrices<Dual>::values(results.position, count), position), 1e-12);
    EXPECT_LT(this->largest_error(Matrices<Dual>::values(results.velocity, count), velocity), 1e-12);
  }
}

TYPED_TEST(Derivatives, GradientIsWeightsTimesMatrices) {
  constexpr int count = TestFixture::n;
  for (int k = 0; k < this->states; ++k) {
    const Exact<TypeParam> state(this->draw());
    std::vector<Dual> weights(static_cast<std::size_t>(count));
    for (Dual& weight : weights) weight = Dual(static_cast<double>(this->random.unit()), 0);
    std::vector<Dual> forces(weights.size());
    std::vector<Dual> position(weights.size());
    std::vector<Dual> velocity(weights.size());
    std::vector<Dual> acceleration(weights.size());
    const DualModel<TypeParam, Dual> model;
    metapod::rnea_gradient<DualModel<TypeParam, Dual>>::run(
        model, DualMotion<TypeParam, Dual>{state.q, state.dq, state.ddq, state, state}, weights.data(),
        {forces.data(), position.data(), velocity.data(), acceleration.data()});
    const auto matrices = differentiated(state);
    const auto row = [](const std::vector<Dual>& numbers) { return Matrices<Dual>::values(numbers, 1); };
    EXPECT_LT(this->largest_error(row(forces), row(matrices.forces)), 1e-12);
    EXPECT_LT(this->largest_error(row(position), row(weights) * Matrices<Dual>::values(matrices.position, count)),
              1e-11);
    EXPECT_LT(this->largest_error(row(velocity), row(weights) * Matrices<Dual>::values(matrices.velocity, count)),
              1e-11);

    // The derivative by accelerations is a difference of weighted forces, which is exact because forces are linear
    // there.
    Exact<TypeParam> faster = state;
    for (int c = 0; c < count; ++c) faster.ddq[c].d = row(weights)(c);
    const Eigen::VectorXd mass_times_weights = force_derivative(faster);
    EXPECT_LT(this->largest_error(row(acceleration), mass_times_weights.transpose()), 1e-12);
  }
}

}  // namespace
}  // namespace korvel::tests
