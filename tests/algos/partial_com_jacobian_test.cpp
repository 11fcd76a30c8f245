#include "metapod/algos/partial_com_jacobian.h"

#include <gtest/gtest.h>

#include "metapod/algos/jcalc.h"
#include "metapod/algos/partial_crba.h"
#include "metapod/models/korvel/korvel.h"
#include "states/states.h"

namespace korvel::tests {
namespace {

using Model = metapod::korvel;

// Which carries no more than reaches these rows, and still has their bits. 25 names no body.
TEST(PartialComJacobian, IsTheLinearMomentumRowsOfThePartialMassMatrix) {
  constexpr int n = Model::dof_count;
  Model robot;
  for (int k = 0; k <= Model::body_count; ++k) {
    const State state = random_state(static_cast<std::uint64_t>(k), RobotSize(Model::body_count));
    metapod::SinesAndCosines<Model> angles;
    angles.take_root(state.q[3], state.q[4], state.q[5]);
    metapod::jcalc_pos<Model>::run(robot, state.q.data(), angles);
    Eigen::Matrix<float, n, n> H;
    metapod::partial_crba<Model>::run(robot, H.data(), k);
    Eigen::Matrix<float, 3, n> J;
    metapod::partial_com_jacobian<Model>::run(robot, J.data(), k);

    const auto& E = metapod::node<0>(robot).iXp.E;
    for (int c = 0; c < n; ++c) {
      const auto [x, y, z] = E.applyTransposed(metapod::Spatial::Vector3{H(0, c), H(1, c), H(2, c)});
      EXPECT_EQ(J.col(c), Eigen::Vector3f(x, y, z)) << k << ' ' << c;
    }
  }
}

}  // namespace
}  // namespace korvel::tests
