#pragma once

/// Gathers the numbers of a node from vectors over all coordinates or bodies, and scatters them into such vectors and
/// matrices. A body owns Joint::dof consecutive coordinates. Matrices are stored column by column, without gaps.

#include <array>
#include <cstddef>

#include "metapod/models/lanes.h"
#include "metapod/spatial/packed_vector3.h"

namespace metapod::internal {

/// The node's entries of a vector over coordinates.
template <typename Node>
auto gather_coordinates(const typename Node::Number* all) noexcept {
  typename Node::Joint::Coordinates own{};
  Spatial::unrolled<Node::Joint::dof>(
      [&](auto k) { own[k] = gather<Node>([&](int b) { return all[Node::dof_index_of(b) + static_cast<int>(k)]; }); });
  return own;
}

/// The number of the body in a lane.
template <typename Node>
typename Node::Number lane_of(const typename Node::Scalar& x, int lane) noexcept {
  if constexpr (Node::bodies.count == 1) {
    return x;
  } else {
    return x[lane];
  }
}

inline void set_lane(float& x, int, float value) noexcept { x = value; }
inline void set_lane(Spatial::Pack& x, int lane, float value) noexcept { x.v[lane] = value; }

template <typename Node>
void scatter_coordinates(typename Node::Number* all, const typename Node::Joint::Coordinates& own) noexcept {
  Spatial::unrolled<Node::Joint::dof>([&](auto k) {
    for_each_body<Node>(
        [&](int b, int lane) { all[Node::dof_index_of(b) + static_cast<int>(k)] = lane_of<Node>(own[k], lane); });
  });
}

/// The columns of a 6 x n matrix that belong to a node's joints of one coordinate. Columns are consecutive.
template <typename Node>
void scatter_columns(float* matrix, const Spatial::MotionT<float>& m) noexcept {
  float* column = matrix + 6 * Node::dof_index;
  column[0] = m.w.x;
  column[1] = m.w.y;
  column[2] = m.w.z;
  column[3] = m.v.x;
  column[4] = m.v.y;
  column[5] = m.v.z;
}

template <typename Node>
void scatter_columns(float* matrix, const Spatial::MotionT<Spatial::Pack>& m) noexcept {
  std::array<Spatial::Pack, 4> rows0to3{m.w.x, m.w.y, m.w.z, m.v.x};
  std::array<Spatial::Pack, 4> rows4to5{m.v.y, m.v.z, m.v.y, m.v.z};
  Spatial::transpose(rows0to3[0], rows0to3[1], rows0to3[2], rows0to3[3]);
  Spatial::transpose(rows4to5[0], rows4to5[1], rows4to5[2], rows4to5[3]);
  for_each_body<Node>([&](int b, int lane) {
    float* column = matrix + 6 * Node::dof_index_of(b);
    Spatial::store(column, rows0to3[static_cast<std::size_t>(lane)]);
    Spatial::store<2>(column + 4, rows4to5[static_cast<std::size_t>(lane)]);
  });
}

/// Column k of the node's joints in a 3 x n matrix.
template <typename Node>
void scatter_columns(float* matrix, const Spatial::Vector3& v, int k) noexcept {
  float* column = matrix + 3 * (Node::dof_index + k);
  column[0] = v.x;
  column[1] = v.y;
  column[2] = v.z;
}

template <typename Node>
void scatter_columns(float* matrix, const Spatial::Vector3T<Spatial::Pack>& v, int k) noexcept {
  std::array<Spatial::Pack, 4> rows{v.x, v.y, v.z, v.z};
  Spatial::transpose(rows[0], rows[1], rows[2], rows[3]);
  for_each_body<Node>([&](int b, int lane) {
    Spatial::store<3>(matrix + 3 * (Node::dof_index_of(b) + k), rows[static_cast<std::size_t>(lane)]);
  });
}

/// Sinks take the results of the algorithms, so that these do not know how results are laid out.

/// A symmetric matrix over coordinates.
template <int rows>
struct SymmetricMatrix {
  float* values;

  /// The blocks with the rows of J's joints and the columns of I's, given by their columns, and the same values
  /// mirrored. J is I or above it.
  template <typename J, typename I, typename Columns>
  void scatter(const Columns& block) const noexcept {
    Spatial::unrolled<I::Joint::dof>([&](auto c) {
      Spatial::unrolled<J::Joint::dof>([&](auto r) {
        for_each_body<I>([&](int b, int lane) {
          const int row = J::dof_index_of(J::bodies.in_lane(lane)) + static_cast<int>(r);
          const int column = I::dof_index_of(b) + static_cast<int>(c);
          const float value = lane_of<I>(block[c][r], lane);
          values[row + rows * column] = value;
          values[column + rows * row] = value;
        });
      });
    });
  }
};

/// Columns of six numbers, consecutive: those of the node's joints of one coordinate.
struct Columns6 {
  float* values;

  template <typename Node, typename Scalar>
  void scatter(const Spatial::MotionT<Scalar>& motion) const noexcept {
    scatter_columns<Node>(values, motion);
  }
};

/// One vector for each body.
struct VectorsOverBodies {
  Spatial::PackedVector3* values;

  template <typename Node>
  void scatter(const Spatial::Vector3& own) const noexcept {
    values[Node::bodies.body[0]] = {Spatial::Pack(own.x, own.y, own.z, 0)};
  }
  template <typename Node>
  void scatter(const Spatial::Vector3T<Spatial::Pack>& own) const noexcept {
    std::array<Spatial::Pack, 4> of_lane{own.x, own.y, own.z, Spatial::Pack{}};
    Spatial::transpose(of_lane[0], of_lane[1], of_lane[2], of_lane[3]);
    for_each_body<Node>([&](int b, int lane) { values[b] = {of_lane[static_cast<std::size_t>(lane)]}; });
  }
};

}  // namespace metapod::internal
