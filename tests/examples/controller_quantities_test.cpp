#include "examples/controller_quantities.h"

#include "support/expect.h"
#include "support/truth.h"

namespace korvel::tests {
namespace {

class ControllerQuantities : public ModuleTest {};

/// A matrix in world axes with angular rows first, as the sum over all bodies of their momenta about a point.
Truth::Jacobian momentum_about(const Truth& truth, const Eigen::Vector3d& point) {
  Truth::Jacobian sum = Truth::Jacobian::Zero(6, truth.coordinate_count());
  for (int b = 0; b < truth.body_count(); ++b) {
    const Eigen::Vector3d com = truth.com(b);
    // The bodies are point masses, whose angular momentum is that of their centres of mass.
    const Eigen::Matrix3Xd linear = truth.mass(b) * truth.jacobian(b, com).bottomRows<3>();
    for (Eigen::Index d = 0; d < linear.cols(); ++d) {
      sum.col(d).head<3>() += (com - point).cross(Eigen::Vector3d(linear.col(d)));
      sum.col(d).tail<3>() += linear.col(d);
    }
  }
  return sum;
}

TEST_F(ControllerQuantities, AreThoseOfTheTextbook) {
  const auto parents = robot->getParentsVector();
  const auto mass = static_cast<double>(robot->getMass());
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE(seed);
    const State state = random_state(seed);
    const Truth truth(state);
    compute(state, *robot);
    for (int b = 0; b < truth.body_count(); ++b) {
      const auto J = controller::body_jacobian(*robot, parents, static_cast<unsigned long>(b));
      EXPECT_TRUE(near(J, truth.jacobian(b, truth.pose(b).translation()), 4 * kinematic)) << b;
    }
    const Eigen::Vector3d com = truth.first_moment() / mass;
    const Truth::Jacobian momentum = momentum_about(truth, com);
    EXPECT_TRUE(near(controller::com_jacobian(*robot), momentum.bottomRows<3>() / mass, 4 * kinematic));
    EXPECT_TRUE(near(controller::centroidal_momentum(*robot), momentum, 4 * kinematic * mass));
  }
}

}  // namespace
}  // namespace korvel::tests
