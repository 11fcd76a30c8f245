#pragma once

/// Divides the bodies of a robot among the nodes of a computation: one body for each node, or limbs of one shape side
/// by side in the lanes of a pack. A partition is a type with a constexpr table `nodes` in which every node comes after
/// the one that holds its bodies' parents, and with the Number that coordinates and results are made of.

#include "metapod/models/topology.h"
#include "metapod/spatial/pack.h"

namespace metapod::models {

inline constexpr int no_body = -1;

/// The bodies of a node: one, or one per lane of a pack, where a lane may be empty.
struct NodeBodies {
  int count;
  std::array<int, Spatial::Pack::lanes> body;

  /// A body of the node; all are at the same place in their limbs.
  constexpr int any() const noexcept {
    for (const int b : body) {
      if (b != no_body) return b;
    }
    return no_body;
  }

  /// The body in the same limb as a lane of a node further out.
  constexpr int in_lane(int lane) const noexcept { return body[count == 1 ? 0U : static_cast<std::size_t>(lane)]; }
};

/// Every body is a node. Its number is float, or a pack whose lanes are states of the robot.
template <typename Robot, typename N = float>
struct OneBodyPerNode {
  using Number = N;

  static constexpr auto table() noexcept {
    std::array<NodeBodies, static_cast<std::size_t>(body_count<Robot>)> all{};
    int body = 0;
    for (auto& node : all) node = {1, {body++, no_body, no_body, no_body}};
    return all;
  }
  static constexpr auto nodes = table();
};

/// The last four chains that hang from the root become one chain of packs if they are equally long, to one body. Its
/// lanes are in the order of the root's children, after all the root's other children, so that sums over lanes in their
/// order are sums over children in theirs. A robot without such limbs has one body per node.
template <typename Robot>
class LimbsInLanes {
  static constexpr int lanes = Spatial::Pack::lanes;
  static constexpr auto parents = parents_of<Robot>();
  static constexpr int first_limb = child_count(parents, 0) - lanes;

  /// The body of a lane's limb at a level; the first is level 0.
  static constexpr int body_at(int lane, int level) noexcept {
    int body = child(parents, 0, first_limb + lane);
    for (; level > 0 && body != no_body; --level)
      body = child_count(parents, body) > 0 ? child(parents, body, 0) : no_body;
    return body;
  }

  /// Number of bodies of a lane's limb; 0 if it branches and is no chain.
  static constexpr int length(int lane) noexcept {
    int level = 0;
    for (; body_at(lane, level) != no_body; ++level) {
      if (child_count(parents, body_at(lane, level)) > 1) return 0;
    }
    return level;
  }

  static constexpr int level_count() noexcept {
    if (first_limb < 0) return 0;
    int shortest = length(0);
    int longest = length(0);
    for (int lane = 1; lane < lanes; ++lane) {
      shortest = std::min(shortest, length(lane));
      longest = std::max(longest, length(lane));
    }
    return shortest > 0 && longest - shortest <= 1 ? longest : 0;
  }
  static constexpr int levels = level_count();

  static constexpr bool is_in_limb(int body) noexcept {
    for (int level = 0; level < levels; ++level) {
      for (int lane = 0; lane < lanes; ++lane) {
        if (body_at(lane, level) == body) return true;
      }
    }
    return false;
  }

  static constexpr int single_count() noexcept {
    int count = 0;
    for (int body = 0; body < body_count<Robot>; ++body) count += is_in_limb(body) ? 0 : 1;
    return count;
  }

  static constexpr auto table() noexcept {
    std::array<NodeBodies, static_cast<std::size_t>(single_count() + levels)> all{};
    std::size_t node = 0;
    for (int body = 0; body < body_count<Robot>; ++body) {
      if (!is_in_limb(body)) all[node++] = {1, {body, no_body, no_body, no_body}};
    }
    for (int level = 0; level < levels; ++level) {
      all[node++] = {lanes, {body_at(0, level), body_at(1, level), body_at(2, level), body_at(3, level)}};
    }
    return all;
  }

 public:
  using Number = float;

  static constexpr auto nodes = table();
};

/// The node that holds a body; no_parent if none does.
template <typename Partition>
constexpr int node_of(int body) noexcept {
  for (std::size_t i = 0; i < Partition::nodes.size(); ++i) {
    for (const int b : Partition::nodes[i].body) {
      if (b == body && b != no_body) return static_cast<int>(i);
    }
  }
  return no_parent;
}

/// The parent of each node.
template <typename Robot, typename Partition>
constexpr auto node_parents_of() noexcept {
  std::array<int, Partition::nodes.size()> parents{};
  for (std::size_t i = 0; i < parents.size(); ++i) {
    parents[i] = node_of<Partition>(Robot::bodies[Partition::nodes[i].any()].parent);
  }
  return parents;
}

/// The children of a node as a std::integer_sequence of ids, in increasing order.
template <typename Robot, typename Partition, int id>
class ChildrenOf {
  static constexpr auto parents = node_parents_of<Robot, Partition>();

  template <int... k>
  static constexpr auto list(std::integer_sequence<int, k...>) noexcept {
    return std::integer_sequence<int, child(parents, id, k)...>{};
  }

 public:
  using type = decltype(list(std::make_integer_sequence<int, child_count(parents, id)>{}));
};

}  // namespace metapod::models
