#pragma once

/// Where the numbers of a node stand in vectors and matrices over all coordinates. Node i owns Joint::dof consecutive
/// coordinates from dof_index on. Vectors and matrices are anything with (row) or (row, column).

#include <cstddef>

#include "metapod/spatial/motion_subspace.h"

namespace metapod::internal {

/// The node's entries of a vector.
template <typename Node, typename Vector>
auto get(const Vector& all) noexcept {
  typename Node::Joint::Coordinates own{};
  for (int k = 0; k < Node::Joint::dof; ++k) own[static_cast<std::size_t>(k)] = all(Node::dof_index + k);
  return own;
}

template <typename Node, typename Vector>
void put(Vector& all, const typename Node::Joint::Coordinates& own) noexcept {
  for (int k = 0; k < Node::Joint::dof; ++k) all(Node::dof_index + k) = own[static_cast<std::size_t>(k)];
}

/// Column of a 6 x n matrix that belongs to a node with one coordinate.
template <typename Node, typename Matrix>
void put_column(Matrix& matrix, const Spatial::MotionT<typename Node::Scalar>& m) noexcept {
  static_assert(Node::Joint::dof == 1);
  constexpr int d = Node::dof_index;
  matrix(0, d) = m.w.x;
  matrix(1, d) = m.w.y;
  matrix(2, d) = m.w.z;
  matrix(3, d) = m.v.x;
  matrix(4, d) = m.v.y;
  matrix(5, d) = m.v.z;
}

/// The block with the rows of J and the columns of I, given by its columns, and the same values mirrored.
template <typename J, typename I, typename Matrix, typename Columns>
void put_symmetric(Matrix& matrix, const Columns& block) noexcept {
  for (int c = 0; c < I::Joint::dof; ++c) {
    for (int r = 0; r < J::Joint::dof; ++r) {
      const auto value = block[static_cast<std::size_t>(c)][static_cast<std::size_t>(r)];
      matrix(J::dof_index + r, I::dof_index + c) = value;
      matrix(I::dof_index + c, J::dof_index + r) = value;
    }
  }
}

}  // namespace metapod::internal
