#include "metapod/algos/partial_com_jacobian.h"

#include <gtest/gtest.h>

#include "metapod/algos/jcalc.h"
#include "metapod/algos/partial_crba.h"
#include "metapod/models/korvel/korvel.h"
#include "support/state.h"

namespace korvel::tests {
namespace {

using metapod::internal::depth_first_traversal_internal;

template <typename Model>
class PartialComJacobian : public testing::Test {};
using Models = testing::Types<metapod::korvel, metapod::korvel_in_lanes>;
TYPED_TEST_SUITE(PartialComJacobian, Models);

// Which carries no more than reaches these rows, and still has their bits. 25 names no body.
TYPED_TEST(PartialComJacobian, IsTheLinearMomentumRowsOfThePartialMassMatrix) {
  using Model = TypeParam;
  constexpr int n = Model::dof_count;
  Model robot;
  for (int k = 0; k <= Model::body_count; ++k) {
    const State state = random_state(static_cast<std::uint64_t>(k));
    const metapod::Positions<Model> positions(state.q.data());
    depth_first_traversal_internal<metapod::internal::JcalcPosVisitor, Model, 0>::run(robot, positions);

    std::vector<float> H(n * n);
    float* matrix = H.data();
    depth_first_traversal_internal<metapod::partial_crba<Model>::template DftVisitor, Model, 0>::run(robot, matrix, k);
    std::vector<float> J(3 * n);
    float* columns = J.data();
    depth_first_traversal_internal<metapod::partial_com_jacobian<Model>::template DftVisitor, Model, 0>::run(
        robot, columns, k);

    const auto& E = metapod::node<0>(robot).iXp.E;
    for (int c = 0; c < n; ++c) {
      const auto world =
          E.applyTransposed(metapod::Spatial::Vector3{matrix[n * c], matrix[n * c + 1], matrix[n * c + 2]});
      EXPECT_EQ(columns[3 * c], world.x) << k << ' ' << c;
      EXPECT_EQ(columns[3 * c + 1], world.y) << k << ' ' << c;
      EXPECT_EQ(columns[3 * c + 2], world.z) << k << ' ' << c;
    }
  }
}

}  // namespace
}  // namespace korvel::tests
