#pragma once

/// Computes at build time all that follows from a robot's table of bodies alone. A robot is a type with a
/// static constexpr array `bodies` of BodyDescription: the root first, on a free-flyer joint, then bodies on revolute
/// joints, every parent before its children.

#include <array>
#include <cstddef>
#include <utility>

#include "metapod/models/body_description.h"
#include "metapod/spatial/joint.h"

namespace metapod::models {

template <typename Robot>
inline constexpr int body_count = static_cast<int>(std::size(Robot::bodies));

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

template <std::size_t n>
constexpr int child_count(const std::array<int, n>& parents, int id) noexcept {
  int count = 0;
  for (const int parent : parents) count += parent == id ? 1 : 0;
  return count;
}

/// The k-th child, in increasing order of ids.
template <std::size_t n>
constexpr int child(const std::array<int, n>& parents, int id, int k) noexcept {
  std::size_t i = 0;
  for (int seen = -1; seen < k; ++i) seen += parents[i] == id ? 1 : 0;
  return static_cast<int>(i) - 1;
}

}  // namespace metapod::models
