#pragma once

/// Converts between bodies and the lanes of a node's scalar, and between a node of packs and a parent of floats. The
/// algorithms are written without lanes. Lanes are bodies only in a node of several bodies. If a pack is the number of
/// one body, its lanes are states, and nothing here takes them apart.

#include "metapod/models/partition.h"
#include "metapod/spatial/transform.h"

namespace metapod {

namespace internal {

template <int body, typename Function>
constexpr auto value_or_zero(const Function& value) noexcept {
  if constexpr (body == models::no_body) {
    return std::decay_t<decltype(value(body))>{};
  } else {
    return value(body);
  }
}

template <int body, typename Function>
void call_unless_empty(const Function& function, int lane) noexcept {
  if constexpr (body != models::no_body) function(body, lane);
}

}  // namespace internal

/// value(body) for each body of a node, component by component side by side; 0 in an empty lane.
template <typename Node, typename Function>
constexpr auto gather(const Function& value) noexcept {
  constexpr auto& b = Node::bodies.body;
  if constexpr (Node::bodies.count == 1) {
    return value(b[0]);
  } else {
    using internal::value_or_zero;
    return Spatial::map([](float x0, float x1, float x2, float x3) { return Spatial::Pack(x0, x1, x2, x3); },
                        value_or_zero<b[0]>(value), value_or_zero<b[1]>(value), value_or_zero<b[2]>(value),
                        value_or_zero<b[3]>(value));
  }
}

/// function(body, lane) for each body of a node, in order.
template <typename Node, typename Function>
void for_each_body(const Function& function) noexcept {
  constexpr auto& b = Node::bodies.body;
  using internal::call_unless_empty;
  call_unless_empty<b[0]>(function, 0);
  call_unless_empty<b[1]>(function, 1);
  call_unless_empty<b[2]>(function, 2);
  call_unless_empty<b[3]>(function, 3);
}

/// x, but 0 for the body k, if it is one of the node's.
template <typename Node>
float without(float x, int k) noexcept {
  return Node::bodies.body[0] == k ? 0 : x;
}

template <typename Node>
Spatial::Pack without(const Spatial::Pack& x, int k) noexcept {
  using Mask = Spatial::Lanes<int, Spatial::Pack::lanes>;
  constexpr auto& b = Node::bodies.body;
  constexpr Mask body{b[0], b[1], b[2], b[3]};
  return Spatial::Pack(Spatial::Pack::Vector(Mask(x.v) & (body != k)));
}

template <typename Node, typename Value>
Value without(const Value& value, int k) noexcept {
  return Spatial::map([k](const auto& x) { return without<Node>(x, k); }, value);
}

// ---- A node of packs below a parent of floats -----------------------------------------------------------------------

/// To child: copies a parent's value into every lane of its child's scalar.
template <typename Scalar, typename Value>
constexpr auto to_child(const Value& value) noexcept {
  return Spatial::map([](const auto& x) { return Scalar(x); }, value);
}

template <typename Scalar, typename ParentScalar>
constexpr auto to_child(const Spatial::RotationMatrixT<ParentScalar>& R) noexcept {
  return Spatial::RotationMatrixT<Scalar>(to_child<Scalar>(R.E));
}

template <typename Scalar, typename ParentScalar>
constexpr auto to_child(const Spatial::TransformT<Spatial::RotationMatrixT<ParentScalar>>& X) noexcept {
  return Spatial::TransformT(to_child<Scalar>(X.E), to_child<Scalar>(X.r));
}

/// Add to parent: what a node hands to its parent. Lanes are added one after the other, which is the order of the
/// parent's children. An empty lane has nothing to hand on, not even the NaN that 0 times infinity makes there.
template <typename Node>
void add_to_parent(float& sum, float own) noexcept {
  sum = sum + own;
}

template <typename Node>
void add_to_parent(float& sum, const Spatial::Pack& own) noexcept {
  for_each_body<Node>([&](int, int lane) { sum = sum + own[lane]; });
}

template <typename Node, int n>
void add_to_parent(Spatial::PackOf<n>& sum, const Spatial::PackOf<n>& own) noexcept {
  constexpr auto& b = Node::bodies.body;
  constexpr unsigned occupied = (b[0] != models::no_body ? 1U : 0U) | (b[1] != models::no_body ? 2U : 0U) |
                                (b[2] != models::no_body ? 4U : 0U) | (b[3] != models::no_body ? 8U : 0U);
  if constexpr (Node::bodies.count == 1 || occupied == 15U) {
    sum = sum + own;
  } else {
    sum = sum + Spatial::select<occupied>(own, Spatial::Pack{});
  }
}

// Written out: a vector alone is added with fewer instructions than by the function below.
template <typename Node, typename ParentScalar, typename Scalar>
void add_to_parent(Spatial::Vector3T<ParentScalar>& sum, const Spatial::Vector3T<Scalar>& own) noexcept {
  add_to_parent<Node>(sum.x, own.x);
  add_to_parent<Node>(sum.y, own.y);
  add_to_parent<Node>(sum.z, own.z);
}

template <typename Node, typename ParentValue, typename Value>
void add_to_parent(ParentValue& sum, const Value& own) noexcept {
  const auto added = [](auto x, const auto& own_x) {
    add_to_parent<Node>(x, own_x);
    return x;
  };
  sum = Spatial::map(added, sum, own);
}

}  // namespace metapod
