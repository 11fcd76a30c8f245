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
using PackForce = metapod::Spatial::ForceT<PackOf<n>>;

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

  Block<n> block;
  PackOf<n> q[coordinate_count];
  SinesOf<n> angles;
  PackForce<n> net[body_count];  ///< the forces that move each body
  DoublePose<n> root;            ///< in the world, rigid
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

template <int n>
struct NoLoads {
  template <int id>
  PackForce<n> on() const noexcept {
    return {};
  }
};

/// The loads of the soles in the axes of their bodies; zero on all others.
template <int n>
struct SoleLoads {
  PackForce<n> of_body[body_count];

  template <int id>
  const PackForce<n>& on() const noexcept {
    return of_body[id];
  }
};

/// Inverse dynamics without the ground, and kinematics of the bodies with soles.
template <typename Model, int id>
struct WithoutGround {
  using Dynamics = typename metapod::rnea<Model, metapod::after_jcalc>::template DftVisitor<Model, id>;

  template <int n, typename Moments>
  static void discover(Model& model, StandingBlock<n>& at, Unsupported<n>& found, const PackOf<n>* dq,
                       const PackOf<n>* ddq, const bool* has_sole, metapod::RootToBody<Model>& iX1,
                       Moments& moments) noexcept {
    metapod::internal::JcalcVisitor<Model, id>::discover(model, at.q, at.angles, dq);
    Dynamics::discover(model, ddq, NoLoads<n>{}, found.forces);
    const auto& node = metapod::node<id>(model);
    at.net[id] = node.fi;
    if constexpr (id > 0) {
      NoJacobian none;
      metapod::internal::FwdKiniX1Visitor<Model, id>::discover(model, iX1, none, moments);
      if (has_sole[id]) found.bodies[id] = {metapod::Spatial::inverse<PackOf<n>>(metapod::at<id>(iX1)), node.vi};
    } else if (has_sole[id]) {
      const PackOf<n> zero{};
      const PackOf<n> one(1);
      found.bodies[id] = {{{one, zero, zero}, {zero, one, zero}, {zero, zero, one}, {zero, zero, zero}}, node.vi};
    }
  }

  template <int n, typename Moments>
  static void finish(Model& model, StandingBlock<n>&, Unsupported<n>& found, const PackOf<n>*, const PackOf<n>* ddq,
                     const bool*, metapod::RootToBody<Model>&, Moments&) noexcept {
    Dynamics::finish(model, ddq, NoLoads<n>{}, found.forces);
  }
};

/// Inverse dynamics once more, with the loads. Velocities and accelerations are the same.
template <typename Model, int id>
struct WithGround {
  using Dynamics = typename metapod::rnea<Model, metapod::after_jcalc>::template DftVisitor<Model, id>;

  template <int n>
  static void discover(Model& model, const StandingBlock<n>& at, const SoleLoads<n>& loads, PackOf<n>*) noexcept {
    metapod::internal::JcalcPosVisitor<Model, id>::discover(model, at.q, at.angles);
    metapod::node<id>(model).fi = at.net[id] - loads.template on<id>();
  }

  template <int n>
  static void finish(Model& model, const StandingBlock<n>&, const SoleLoads<n>& loads, PackOf<n>* forces) noexcept {
    const PackOf<n>* const none = nullptr;
    Dynamics::finish(model, none, loads, forces);
  }
};

template <int n>
[[gnu::flatten]] void compute_without_ground(const Masses& masses, const PackOf<n>* dq, const PackOf<n>* ddq,
                                             const bool* has_sole, StandingBlock<n>& at,
                                             Unsupported<n>& found) noexcept {
  using Model = StatesInLanes<n>;
  Model model(masses);
  metapod::RootToBody<Model> iX1;
  SumOfMoments<n> moments{model.template inertia<0>().h};
  metapod::internal::depth_first_traversal_internal<WithoutGround, Model, 0>::run(model, at, found, dq, ddq, has_sole,
                                                                                  iX1, moments);
  found.com_root = PackOf<n>(1 / masses.total) * moments.sum;
  found.root_world = metapod::Spatial::inverse<PackOf<n>>(metapod::node<0>(model).iXp);
}

template <int n>
[[gnu::flatten]] void compute_with_ground(const Masses& masses, const StandingBlock<n>& at, const SoleLoads<n>& loads,
                                          PackOf<n>* forces) noexcept {
  using Model = StatesInLanes<n>;
  Model model(masses);
  metapod::internal::depth_first_traversal_internal<WithGround, Model, 0>::run(model, at, loads, forces);
}

}  // namespace korvel::batch
