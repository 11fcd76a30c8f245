#pragma once

/// A robot as a type: one node record per body, in a heterogeneous vector that the algorithms index at build time, and
/// the class-wide tables that describe the robot.

#include <array>
#include <boost/fusion/include/at_c.hpp>
#include <boost/fusion/include/vector.hpp>
#include <string>
#include <utility>

#include "metapod/models/node.h"

namespace metapod {

namespace models {

template <typename Robot, typename Value, typename Function, std::size_t... i>
constexpr auto table_of(Function&& entry, std::index_sequence<i...>) {
  return std::array<Value, sizeof...(i)>{Value(entry(Robot::bodies[i]))...};
}

/// One entry per body of the robot, made from its description.
template <typename Robot, typename Value, typename Function>
constexpr auto table_of(Function&& entry) {
  return table_of<Robot, Value>(entry, std::make_index_sequence<static_cast<std::size_t>(body_count<Robot>)>{});
}

template <typename Robot, typename Ids>
struct NodeVector;

template <typename Robot, int... id>
struct NodeVector<Robot, std::integer_sequence<int, id...>> {
  using type = boost::fusion::vector<Node<Robot, id>...>;
};

/// Size is fixed, nothing is on the heap; copying copies the state of every node. One object belongs to one thread at a
/// time. The tables are shared by all objects.
template <typename Robot>
class Model {
 public:
  static_assert(is_topological<Robot>(), "the root comes first, and every parent before its children");

  static constexpr int body_count = models::body_count<Robot>;
  static constexpr int dof_count = dof_count_of<Robot>();

  template <int id>
  using Node = models::Node<Robot, id>;

  static constexpr auto parents = parents_of<Robot>();
  static constexpr auto dof_numbers = dof_numbers_of<Robot>();
  static constexpr auto dof_indexes = dof_indexes_of<Robot>();

  /// Live as long as the module is loaded.
  static inline const auto joint_names = table_of<Robot, std::string>([](const auto& body) { return body.name; });
  static inline const auto body_names = table_of<Robot, std::string>([](const auto& body) { return body.name; });

  /// Inertia of each body in its own frame. The only table that may be written; there is no lock.
  static inline auto inertias = table_of<Robot, Spatial::Inertia>([](const auto& body) { return body.inertia; });

  /// The inertia of a node.
  template <int id>
  static const Spatial::InertiaT<typename Node<id>::Scalar>& inertia() noexcept {
    return inertias[id];
  }

  typename NodeVector<Robot, std::make_integer_sequence<int, body_count>>::type nodes;
};

}  // namespace models

/// The type of a node of a model.
template <typename Model, int id>
using NodeOf = typename Model::template Node<id>;

/// The record of a node.
template <int id, typename Model>
NodeOf<Model, id>& node(Model& model) noexcept {
  return boost::fusion::at_c<id>(model.nodes);
}

}  // namespace metapod
