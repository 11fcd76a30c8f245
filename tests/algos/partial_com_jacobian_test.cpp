#include "metapod/algos/partial_com_jacobian.h"

#include <gtest/gtest.h>

#include "metapod/algos/jcalc.h"
#include "metapod/algos/partial_crba.h"
#include "metapod/models/korvel/korvel.h"
#include "states/states.h"

namespace korvel::tests {
namespace {

using Model = metapod::korvel;
using metapod::internal::depth_first_traversal_internal;

// Which carries no more than reaches these rows, and still has their bits. 25 names no body.
TEST(PartialComJacobian, IsTheLinearMomentumRowsOfThePartialMassMatrix) {
  constexpr int n = Model::dof_count;
  Model robot;
  for (int k = 0; k <= Model::body_count; ++k) {
    const State state = random_state(static_cast<std::uint64_t>(k));
    const float* q = state.q.data();
    metapod::SinesAndCosines<Model> angles;
    angles.take_root(q);
    angles.take_joints(q);
    depth_first_traversal_internal<metapod::internal::JcalcPosVisitor, Model, 0>::run(robot, q, angles);

    Eigen::Matrix<float, n, n> H;
    float* matrix = H.data();
    depth_first_traversal_internal<metapod::partial_crba<Model>::template DftVisitor, Model, 0>::run(robot, matrix, k);
    Eigen::Matrix<float, 3, n> J;
    float* columns = J.data();
    depth_first_traversal_internal<metapod::partial_com_jacobian<Model>::template DftVisitor, Model, 0>::run(
        robot, columns, k);

    const auto& E = metapod::node<0>(robot).iXp.E;
    for (int c = 0; c < n; ++c) {
      const auto [x, y, z] = E.applyTransposed(metapod::Spatial::Vector3{H(0, c), H(1, c), H(2, c)});
      EXPECT_EQ(J.col(c), Eigen::Vector3f(x, y, z)) << k << ' ' << c;
    }
  }
}

}  // namespace
}  // namespace korvel::tests
