#pragma once

#include "batch/kernels/states_in_lanes.h"
#include "metapod/algos/fwd_kin_iX1.h"
#include "metapod/algos/jcalc.h"
#include "metapod/spatial/pose.h"

namespace korvel::batch {

/// A matrix with six rows, row by row: its columns are motions.
template <int n>
struct SixRows {
  using Motion = metapod::Spatial::MotionT<PackOf<n>>;

  PackOf<n>& at(int row, int column) noexcept { return values[coordinate_count * row + column]; }
  const PackOf<n>& at(int row, int column) const noexcept { return values[coordinate_count * row + column]; }
  Motion column(int d) const noexcept { return {{at(0, d), at(1, d), at(2, d)}, {at(3, d), at(4, d), at(5, d)}}; }
  void put_column(int d, const Motion& motion) noexcept {
    at(0, d) = motion.w.x;
    at(1, d) = motion.w.y;
    at(2, d) = motion.w.z;
    at(3, d) = motion.v.x;
    at(4, d) = motion.v.y;
    at(5, d) = motion.v.z;
  }

  PackOf<n> values[jacobian_numbers];
};

/// The jacobian, columns of the root's own motion included.
template <int n>
struct JacobianRows : SixRows<n> {
  JacobianRows() noexcept : SixRows<n>{} {
    // Coordinates 0 to 2 are linear, rows 3 to 5, and 3 to 5 are angular.
    for (int d = 0; d < first_joint; ++d) this->at((d + 3) % first_joint, d) = PackOf<n>(1);
  }

  template <typename Node>
  void scatter(const metapod::Spatial::MotionT<PackOf<n>>& motion) noexcept {
    this->put_column(Node::dof_index, motion);
  }
};

/// Takes the place of a jacobian that is not wanted.
struct NoJacobian {
  template <typename Node, typename Motion>
  void scatter(const Motion&) noexcept {}
};

/// The sum of first moments, in the order of the bodies.
template <int n>
struct SumOfMoments {
  template <typename Node>
  void scatter(const metapod::Spatial::Vector3T<PackOf<n>>& moment) noexcept {
    sum = sum + moment;
  }

  metapod::Spatial::Vector3T<PackOf<n>> sum;
};

template <int n>
void write_pose(const Output& output, const Block<n>& block, int body,
                const metapod::Spatial::PoseT<PackOf<n>>& pose) noexcept {
  const auto& [row0, row1, row2, t] = pose;
  const PackOf<n> numbers[]{row0.x, row0.y, row0.z, t.x, row1.x, row1.y, row1.z, t.y, row2.x, row2.y, row2.z, t.z};
  if (output.data != nullptr) write_numbers<n>(output, block, 12 * body, 12, numbers);
}

/// Returns the pose of the root in its own frame.
template <int n>
metapod::Spatial::PoseT<PackOf<n>> identity_pose() noexcept {
  const PackOf<n> zero{};
  const PackOf<n> one(1);
  return {{one, zero, zero}, {zero, one, zero}, {zero, zero, one}, {zero, zero, zero}};
}

/// Computes the jacobian, the first moments and use(i, X) for every node i below the root, where X is the transform
/// from the root to it.
template <int n, typename Jacobian, typename Use>
void place_bodies(StatesInLanes<n>& model, const PackOf<n>* q, const SinesOf<n>& angles, Jacobian& jacobian,
                  SumOfMoments<n>& moments, const Use& use) noexcept {
  using Model = StatesInLanes<n>;
  metapod::RootToBody<Model> iX1;
  metapod::for_each_node_below_root<Model>([&](auto i) {
    metapod::internal::JcalcPosVisitor<Model, i>::discover(model, q, angles);
    metapod::internal::FwdKiniX1Visitor<Model, i>::discover(model, iX1, jacobian, moments);
    use(i, metapod::at<i>(iX1));
  });
}

/// Computes what the module's computeFwdKinematics computes: the root's pose from its coordinates, all others from
/// their transforms.
template <int n, typename Jacobian>
[[gnu::flatten]] void compute_kinematics(const Masses& masses, const Block<n>& block, const Input& input,
                                         const KinematicsResults& results, Jacobian& jacobian) noexcept {
  using namespace metapod;
  using Number = PackOf<n>;
  using Model = StatesInLanes<n>;
  Number q[coordinate_count];
  read_numbers<n, coordinate_count>(input, block, q);
  SinesOf<n> angles;
  angles.take(q);

  Model model(masses);
  internal::JcalcPosVisitor<Model, 0>::discover(model, q, angles);
  const auto& world_to_root = node<0>(model).iXp;
  const auto root_in_world = Spatial::inverse<Number>(world_to_root);
  write_pose<n>(results.poses_root, block, 0, identity_pose<n>());
  write_pose<n>(results.poses_world, block, 0, root_in_world);

  SumOfMoments<n> moments{model.template inertia<0>().h};
  place_bodies<n>(model, q, angles, jacobian, moments, [&](int body, const auto& root_to_body) {
    write_pose<n>(results.poses_root, block, body, Spatial::inverse<Number>(root_to_body));
    write_pose<n>(results.poses_world, block, body, Spatial::inverse_of_product<Number>(root_to_body, world_to_root));
  });

  const auto com = Number(1 / masses.total) * moments.sum;
  const auto& [row0, row1, row2, t] = root_in_world;
  write<n>(results.com_root, block, 0, com.x, com.y, com.z);
  write<n>(results.com_world, block, 0, dot(row0, com) + t.x, dot(row1, com) + t.y, dot(row2, com) + t.z);
}

template <int n>
void kinematics(const Masses& masses, const Stretch& states, const MotionInput& given,
                const KinematicsResults& results) noexcept {
  if (results.jacobian.data == nullptr) {
    NoJacobian none;
    for_each_block<n>(states, [&](const auto& block) { compute_kinematics<n>(masses, block, given.q, results, none); });
    return;
  }
  JacobianRows<n> jacobian;
  for_each_block<n>(states, [&](const auto& block) {
    compute_kinematics<n>(masses, block, given.q, results, jacobian);
    write_numbers<n>(results.jacobian, block, 0, jacobian_numbers, jacobian.values);
  });
}

}  // namespace korvel::batch
