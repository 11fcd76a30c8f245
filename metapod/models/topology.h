#pragma once

/// What follows from a robot's table of bodies alone, computed when the program is built. A robot is a type with a
/// static constexpr array `bodies` of BodyDescription: the root first, on a free-flyer joint, then bodies on revolute
/// joints, every parent before its children.

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "metapod/models/body_description.h"
#include "metapod/spatial/joint.h"

namespace metapod::models {

template <typename Robot>
inline constexpr int body_count = static_cast<int>(std::size(Robot::bodies));

/// The joint kind of a node.
template <typename Robot, int id, typename Scalar>
using JointOf = std::conditional_t<Robot::bodies[id].parent == no_parent, FreeFlyerBodyJointT<Scalar>,
                                   RevoluteJointAboutZT<Scalar>>;

template <typename Robot>
using IntTable = std::array<int, static_cast<std::size_t>(body_count<Robot>)>;

template <typename Robot>
constexpr IntTable<Robot> parents_of() noexcept {
  IntTable<Robot> parents{};
  for (std::size_t i = 0; i < parents.size(); ++i) parents[i] = Robot::bodies[i].parent;
  return parents;
}

template <typename Robot>
constexpr IntTable<Robot> dof_numbers_of() noexcept {
  IntTable<Robot> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    numbers[i] = Robot::bodies[i].parent == no_parent ? FreeFlyerBodyJoint::dof : RevoluteJointAboutZ::dof;
  }
  return numbers;
}

template <typename Robot>
constexpr IntTable<Robot> dof_indexes_of() noexcept {
  const auto numbers = dof_numbers_of<Robot>();
  IntTable<Robot> indexes{};
  for (std::size_t i = 1; i < indexes.size(); ++i) indexes[i] = indexes[i - 1] + numbers[i - 1];
  return indexes;
}

template <typename Robot>
constexpr int dof_count_of() noexcept {
  return dof_indexes_of<Robot>().back() + dof_numbers_of<Robot>().back();
}

/// True if the root comes first, alone, and every parent before its children.
template <typename Robot>
constexpr bool is_topological() noexcept {
  if (Robot::bodies[0].parent != no_parent) return false;
  for (int i = 1; i < body_count<Robot>; ++i) {
    if (Robot::bodies[i].parent < 0 || Robot::bodies[i].parent >= i) return false;
  }
  return true;
}

template <typename Robot>
constexpr int child_count(int id) noexcept {
  int count = 0;
  for (const auto& body : Robot::bodies) count += body.parent == id ? 1 : 0;
  return count;
}

/// The k-th child of a body, in increasing order of ids.
template <typename Robot>
constexpr int child(int id, int k) noexcept {
  int i = 0;
  for (int seen = -1; seen < k; ++i) seen += Robot::bodies[i].parent == id ? 1 : 0;
  return i - 1;
}

template <typename Robot, int id, int... k>
constexpr auto children_of(std::integer_sequence<int, k...>) noexcept {
  return std::integer_sequence<int, child<Robot>(id, k)...>{};
}

/// The children of a node as a std::integer_sequence of ids, in increasing order.
template <typename Robot, int id>
using ChildrenOf = decltype(children_of<Robot, id>(std::make_integer_sequence<int, child_count<Robot>(id)>{}));

}  // namespace metapod::models
