#pragma once

/// Inverse dynamics of a block of states without the ground and with it, and kinematics of the bodies with soles.

#include <cstring>

#include "batch/kernels/dynamics.h"
#include "batch/kernels/kinematics.h"
#include "contact/stance_in_lanes.h"

namespace korvel::batch {

template <int n>
using Doubles = contact::DoubleLanes<n>;
template <int n>
using DoublePose = contact::PoseT<Doubles<n>>;

template <int n>
Doubles<n> widened(const PackOf<n>& pack) noexcept {
  metapod::Spatial::Lanes<float, n / 2> halves[2];
  std::memcpy(halves, &pack, sizeof pack);
  using Register = typename Doubles<n>::Register;
  return {__builtin_convertvector(halves[0], Register), __builtin_convertvector(halves[1], Register)};
}
template <int n>
metapod::Spatial::Vector3T<Doubles<n>> widened(const metapod::Spatial::Vector3T<PackOf<n>>& v) noexcept {
  return {widened<n>(v.x), widened<n>(v.y), widened<n>(v.z)};
}
template <int n>
DoublePose<n> widened(const metapod::Spatial::PoseT<PackOf<n>>& pose) noexcept {
  return {widened<n>(pose.row0), widened<n>(pose.row1), widened<n>(pose.row2), widened<n>(pose.t)};
}
template <int n>
PackOf<n> narrowed(const Doubles<n>& x) noexcept {
  using Half = metapod::Spatial::Lanes<float, n / 2>;
  const Half halves[] = {__builtin_convertvector(x.low, Half), __builtin_convertvector(x.high, Half)};
  PackOf<n> pack;
  std::memcpy(&pack, halves, sizeof pack);
  return pack;
}

/// A sole's body, in the root.
template <int n>
struct SoleBody {
  metapod::Spatial::PoseT<PackOf<n>> pose_root;
  metapod::Spatial::MotionT<PackOf<n>> motion_body;
};

/// A block of states between inverse dynamics without the ground and with it.
template <int n>
struct StandingBlock {
  explicit StandingBlock(const contact::SoleTable& soles) : stance(soles) {}

  Block<n> block{};
  PackOf<n> q[coordinate_count];
  SinesOf<n> angles;
  ForcesInLanes<n> net;  ///< those that move each body
  DoublePose<n> root;    ///< in the world, rigid
  typename Doubles<n>::Mask is_finite;
  contact::StanceInLanes<Doubles<n>> stance;
};

/// The results of inverse dynamics and kinematics without the ground.
template <int n>
struct Unsupported {
  PackOf<n> forces[coordinate_count];
  metapod::Spatial::Vector3T<PackOf<n>> com_root;
  metapod::Spatial::PoseT<PackOf<n>> root_world;
  SoleBody<n> bodies[body_count];  ///< those with soles
};

/// Inverse dynamics visits a node with these functions.
template <typename Model, int id>
using DynamicsVisitor = typename metapod::rnea<Model, metapod::after_jcalc>::template DftVisitor<Model, id>;

/// Passes the net forces on all bodies on to the root, which is the second half of inverse dynamics.
template <typename Model, int id>
struct ForcesToRoot {
  template <int n>
  static void discover(Model&, PackOf<n>*) noexcept {}

  template <int n>
  static void finish(Model& model, PackOf<n>* forces) noexcept {
    const PackOf<n>* const no_accelerations = nullptr;
    DynamicsVisitor<Model, id>::finish(model, no_accelerations, nullptr, forces);
  }
};

/// Computes inverse dynamics of a motion without external forces, and kinematics of the bodies with soles.
template <int n>
[[gnu::flatten]] void compute_without_ground(const Masses& masses, const MotionInLanes<n>& motion, const bool* has_sole,
                                             ForcesInLanes<n>& net, Unsupported<n>& found) noexcept {
  using namespace metapod;
  using Model = StatesInLanes<n>;
  Model model(masses);
  Spatial::unrolled<body_count>([&](auto id) {
    internal::JcalcVisitor<Model, id>::discover(model, motion.q, motion.angles, motion.dq);
    DynamicsVisitor<Model, id>::discover(model, motion.ddq, motion.external, found.forces);
    net.of_body[id] = node<id>(model).fi;
    found.bodies[id].motion_body = node<id>(model).vi;
  });
  NoJacobian none;
  SumOfMoments<n> moments{model.template inertia<0>().h};
  RootToBody<Model> iX1;
  for_each_node_below_root<Model>([&](auto id) {
    internal::FwdKiniX1Visitor<Model, id>::discover(model, iX1, none, moments);
    if (has_sole[id]) found.bodies[id].pose_root = Spatial::inverse<PackOf<n>>(at<id>(iX1));
  });
  found.bodies[0].pose_root = identity_pose<n>();
  internal::depth_first_traversal_internal<ForcesToRoot, Model, 0>::run(model, found.forces);
  found.com_root = PackOf<n>(1 / masses.total) * moments.sum;
  found.root_world = Spatial::inverse<PackOf<n>>(node<0>(model).iXp);
}

/// Computes inverse dynamics once more, with the loads of soles. Velocities and accelerations are the same.
template <int n>
[[gnu::flatten]] void compute_with_ground(const Masses& masses, const StandingBlock<n>& at,
                                          const ForcesInLanes<n>& loads, PackOf<n>* forces) noexcept {
  using namespace metapod;
  using Model = StatesInLanes<n>;
  Model model(masses);
  Spatial::unrolled<body_count>([&](auto id) {
    internal::JcalcPosVisitor<Model, id>::discover(model, at.q, at.angles);
    node<id>(model).fi = at.net.of_body[id] - loads.of_body[id];
  });
  internal::depth_first_traversal_internal<ForcesToRoot, Model, 0>::run(model, forces);
}

}  // namespace korvel::batch
