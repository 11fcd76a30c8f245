#pragma once

/// A robot as a type: the class-wide tables that describe it, and one record per node, in a heterogeneous vector that
/// the algorithms index at build time.

#include <boost/fusion/include/at_c.hpp>
#include <boost/fusion/include/vector.hpp>
#include <string>
#include <utility>

#include "metapod/models/mass.h"
#include "metapod/models/node.h"
#include "metapod/spatial/steps.h"

namespace metapod {

namespace models {

template <typename Robot, std::size_t... i>
std::array<std::string, sizeof...(i)> names_of(std::index_sequence<i...>) {
  return {Robot::bodies[i].name...};
}

template <typename Robot, std::size_t... i>
constexpr std::array<Spatial::Inertia, sizeof...(i)> inertias_of(std::index_sequence<i...>) noexcept {
  return {Robot::bodies[i].inertia...};
}

template <typename Robot, typename Partition, template <typename> class Value, int... id>
auto node_vector(std::integer_sequence<int, id...>) -> boost::fusion::vector<Value<Node<Robot, Partition, id>>...>;

/// Sizes, node types and one record for each node. What the algorithms run on is derived from it, and adds
/// `inertia<id>()` and `center_of_mass<id>()`, the mass properties of a node, and `Steps`, how common steps are taken.
///
/// Size is fixed, nothing is on the heap; copying copies the state of every node. One object belongs to one thread at a
/// time.
///
/// The partition says which bodies a node stands for, and of which numbers. Whatever it is, the algorithms give the
/// same bits, signs of zeros apart.
template <typename Robot, typename Partition>
class Tree {
  template <typename Node>
  using Self = Node;

 protected:
  static constexpr auto node_ids = std::make_integer_sequence<int, static_cast<int>(Partition::nodes.size())>{};

 public:
  static_assert(is_topological<Robot>(), "the root comes first, and every parent before its children");

  static constexpr int body_count = models::body_count<Robot>;
  static constexpr int dof_count = dof_count_of<Robot>();
  static constexpr int node_count = static_cast<int>(Partition::nodes.size());

  template <int id>
  using Node = models::Node<Robot, Partition, id>;

  /// One Value<Node> for each node.
  template <template <typename> class Value>
  using PerNode = decltype(node_vector<Robot, Partition, Value>(node_ids));

  static constexpr auto parents = parents_of<Robot>();
  static constexpr auto dof_numbers = dof_numbers_of<Robot>();
  static constexpr auto dof_indexes = dof_indexes_of<Robot>();

  PerNode<Self> nodes;
};

/// A robot with the tables that describe it. All objects of the class share them; only set_inertia writes them, and
/// there is no lock.
template <typename Robot, typename Partition>
class Model : public Tree<Robot, Partition> {
  using Base = Tree<Robot, Partition>;
  using Base::node_ids;
  static constexpr auto body_indexes = std::make_index_sequence<std::size(Robot::bodies)>{};

  template <typename Node>
  using MassOf = MassT<typename Node::Scalar>;

 public:
  using Steps = Spatial::StepsCalled;

  /// Live as long as the module is loaded.
  static inline const auto joint_names = names_of<Robot>(body_indexes);
  static inline const auto body_names = names_of<Robot>(body_indexes);

  /// Inertia of each body in its own frame.
  static const auto& inertias() noexcept { return inertias_; }
  static void set_inertia(std::size_t body, const Spatial::Inertia& inertia) noexcept {
    inertias_[body] = inertia;
    refresh(masses_, node_ids);
    ++inertia_version_;
  }
  /// Another number after every change of the table.
  static unsigned inertia_version() noexcept { return inertia_version_; }

  template <int id>
  const auto& inertia() const noexcept {
    return boost::fusion::at_c<id>(masses_).inertia;
  }
  template <int id>
  const auto& center_of_mass() const noexcept {
    return boost::fusion::at_c<id>(masses_).center_of_mass;
  }

 private:
  using Masses = typename Base::template PerNode<MassOf>;

  template <typename Node>
  static MassOf<Node> mass_of_node() noexcept {
    const auto of = [](int body) -> const Spatial::Inertia& { return inertias_[static_cast<std::size_t>(body)]; };
    return {gather<Node>(of), gather<Node>([of](int body) { return of(body).center_of_mass(); })};
  }

  template <int... id>
  static void refresh(Masses& masses, std::integer_sequence<int, id...>) noexcept {
    ((boost::fusion::at_c<id>(masses) = mass_of_node<typename Base::template Node<id>>()), ...);
  }

  static Masses initial_masses() noexcept {
    Masses masses;
    refresh(masses, node_ids);
    return masses;
  }

  static inline auto inertias_ = inertias_of<Robot>(body_indexes);
  static inline Masses masses_ = initial_masses();
  static inline unsigned inertia_version_ = 1;
};

}  // namespace models

/// The type of a node of a model.
template <typename Model, int id>
using NodeOf = typename Model::template Node<id>;

/// The entry of a node in one of the model's vectors over nodes.
template <int id, typename PerNode>
auto& at(PerNode& values) noexcept {
  return boost::fusion::at_c<id>(values);
}

/// The record of a node.
template <int id, typename Model>
NodeOf<Model, id>& node(Model& model) noexcept {
  return at<id>(model.nodes);
}

}  // namespace metapod
