#pragma once

/// Visiting the tree. The tree is known when the program is built, so a traversal is expanded and not run: there is one
/// instantiation of the visitor per node, and nothing is looked up, allocated or dispatched.

#include <utility>

#include "metapod/models/model.h"

namespace metapod {

namespace internal {

/// Visits the subtree of a node depth first: discover on entering a node, then its children in increasing order, then
/// finish. So every node is discovered after its parent and finished after all its descendants. The arguments go to
/// every visit by reference.
template <template <typename, int> class Visitor, typename Model, int node_id>
struct depth_first_traversal_internal {
  template <typename... Args>
  static void run(Model& model, Args&... args) noexcept {
    Visitor<Model, node_id>::discover(model, args...);
    run_children(typename NodeOf<Model, node_id>::Children{}, model, args...);
    Visitor<Model, node_id>::finish(model, args...);
  }

 private:
  template <int... child, typename... Args>
  static void run_children(std::integer_sequence<int, child...>, Model& model, Args&... args) noexcept {
    (depth_first_traversal_internal<Visitor, Model, child>::run(model, args...), ...);
  }
};

/// The same with a record of each node, Visitor::Record, which lives from discover to finish. So there are as many
/// records as the tree is deep. Visits get the parent's record, the node's own and the arguments; World is the record
/// above the root.
struct World {};

template <template <typename, int> class Visitor, typename Model, int node_id>
struct depth_first_traversal_with_records {
  template <typename Parent, typename... Args>
  static void run(const Model& model, Parent& parent, Args&... args) noexcept {
    typename Visitor<Model, node_id>::Record own;
    Visitor<Model, node_id>::discover(model, parent, own, args...);
    run_children(typename NodeOf<Model, node_id>::Children{}, model, own, args...);
    Visitor<Model, node_id>::finish(model, parent, own, args...);
  }

 private:
  template <int... child, typename Own, typename... Args>
  static void run_children(std::integer_sequence<int, child...>, const Model& model, Own& own, Args&... args) noexcept {
    (depth_first_traversal_with_records<Visitor, Model, child>::run(model, own, args...), ...);
  }
};

/// Walks from a node P up to the root and visits every edge on the way: Visitor<Model, J, P> for the parent J of P,
/// then the edge above J, and so on.
template <template <typename, int, int> class Visitor, typename Model, int P>
struct backward_traversal_internal {
  template <typename... Args>
  static void run(Model& model, Args&... args) noexcept {
    constexpr int J = NodeOf<Model, P>::parent;
    if constexpr (J != models::no_parent) {
      Visitor<Model, J, P>::discover(model, args...);
      backward_traversal_internal<Visitor, Model, J>::run(model, args...);
    }
  }
};

}  // namespace internal

/// visit(id) for all nodes but the root in the order of their ids, in which parents come before their children. An id
/// is a constant, as for Spatial::unrolled.
template <typename Model, typename Function>
void for_each_node_below_root(const Function& visit) noexcept {
  Spatial::unrolled<Model::node_count - 1>([&](auto i) { visit(std::integral_constant<int, i + 1>{}); });
}

}  // namespace metapod
