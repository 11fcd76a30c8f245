#pragma once

/// The joint passes: bring every node's joint, and with it the transform from its parent, up to date. All other
/// algorithms read what the last of these passes left.

#include <algorithm>

#include "metapod/algos/gather_scatter.h"
#include "metapod/algos/traversal.h"
#include "metapod/spatial/sine_cosine.h"

namespace metapod {

/// Says whether the visits of an algorithm begin with those of a joint pass, or a joint pass has run before it.
inline constexpr bool with_jcalc = true;
inline constexpr bool after_jcalc = false;

/// Sines and cosines of the angles among the coordinates of all joints. Each belongs to the angle as it was when it was
/// last taken here: the root's when it is placed, those of the other joints by every joint pass.
template <typename Model>
class SinesAndCosines {
  using Root = typename NodeOf<Model, 0>::Joint;
  static_assert(Model::dof_count >= 2 * Spatial::Pack::lanes, "a batch has at least eight angles");

 public:
  /// Numbers, not a place in memory: what was just written there piece by piece would be waited for.
  template <typename... Angles>
  void take_root(Angles... angles) noexcept {
    constexpr int count = Root::dof - Root::first_angle;
    static_assert(sizeof...(angles) == count && count == Spatial::Pack::lanes - 1);
    const auto [sine, cosine] = Spatial::sine_cosine(Spatial::Pack(angles..., 0));
    Spatial::store<count>(sine_ + Root::first_angle, sine);
    Spatial::store<count>(cosine_ + Root::first_angle, cosine);
  }

  void take_joints(const float* q) noexcept {
    // If there are few joints, angles of the root are computed again.
    constexpr int count = std::max(Model::dof_count - Root::dof, 2 * Spatial::Pack::lanes);
    constexpr int first = Model::dof_count - count;
    Spatial::sine_cosine<count>(q + first, sine_ + first, cosine_ + first);
  }

  /// The positions of one node's joint.
  template <typename Node>
  typename Node::Joint::Positions of(const float* q) const noexcept {
    using internal::gather_coordinates;
    return {gather_coordinates<Node>(q), gather_coordinates<Node>(sine_), gather_coordinates<Node>(cosine_)};
  }

 private:
  float sine_[Model::dof_count]{};
  float cosine_[Model::dof_count]{};
};

namespace internal {

/// Positions only.
/// Writes  joint.Xj, iXp
template <typename Model, int node_id>
struct JcalcPosVisitor {
  using Node = NodeOf<Model, node_id>;

  template <typename Angles>
  static void discover(Model& model, const typename Node::Number* q, const Angles& angles) noexcept {
    auto& i = node<node_id>(model);
    i.joint.jcalcPos(angles.template of<Node>(q));
    i.iXp = i.joint.Xj * Node::Xt;
  }

  template <typename Angles>
  static void finish(Model&, const typename Node::Number*, const Angles&) noexcept {}
};

/// Velocities only.
/// Writes  joint.vj
template <typename Model, int node_id>
struct JcalcVelVisitor {
  using Node = NodeOf<Model, node_id>;

  static void discover(Model& model, const typename Node::Number* dq) noexcept {
    node<node_id>(model).joint.jcalc_vel(gather_coordinates<Node>(dq));
  }

  static void finish(Model&, const typename Node::Number*) noexcept {}
};

/// Positions and velocities.
/// Writes  joint.Xj, joint.vj, iXp
template <typename Model, int node_id>
struct JcalcVisitor {
  using Node = NodeOf<Model, node_id>;

  template <typename Angles>
  static void discover(Model& model, const typename Node::Number* q, const Angles& angles,
                       const typename Node::Number* dq) noexcept {
    auto& i = node<node_id>(model);
    i.joint.jcalc(angles.template of<Node>(q), gather_coordinates<Node>(dq));
    i.iXp = i.joint.Xj * Node::Xt;
  }

  template <typename Angles>
  static void finish(Model&, const typename Node::Number*, const Angles&, const typename Node::Number*) noexcept {}
};

}  // namespace internal

/// The pass with positions. Takes the sines and cosines of all joints but the root.
template <typename Model>
struct jcalc_pos {
  static void run(Model& model, const float* q, SinesAndCosines<Model>& angles) noexcept {
    angles.take_joints(q);
    internal::depth_first_traversal_internal<internal::JcalcPosVisitor, Model, 0>::run(model, q, angles);
  }

  /// The root's own step. The other nodes keep what the last whole pass left.
  static void run_root(Model& model, const float* q, const SinesAndCosines<Model>& angles) noexcept {
    internal::JcalcPosVisitor<Model, 0>::discover(model, q, angles);
  }
};

/// The pass with velocities, where positions have not changed since the last pass with them.
template <typename Model>
struct jcalc_vel {
  static void run(Model& model, const float* dq) noexcept {
    internal::depth_first_traversal_internal<internal::JcalcVelVisitor, Model, 0>::run(model, dq);
  }
};

/// The pass with positions and velocities, for whoever does not know whether positions have changed. Takes the sines
/// and cosines of all joints but the root.
template <typename Model>
struct jcalc {
  static void run(Model& model, const float* q, SinesAndCosines<Model>& angles, const float* dq) noexcept {
    angles.take_joints(q);
    internal::depth_first_traversal_internal<internal::JcalcVisitor, Model, 0>::run(model, q, angles, dq);
  }
};

}  // namespace metapod
