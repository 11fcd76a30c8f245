#pragma once

#include <array>
#include <cstring>
#include <functional>
#include <optional>
#include <vector>

#include "contract/shown.h"
#include "validator/observe/require_same.h"

namespace korvel::validate {

/// Returns whether the numbers of a value are these, as first_difference compares them.
template <typename Value>
bool shows(const float* numbers, const Value& value) {
  // NOLINTNEXTLINE(bugprone-sizeof-expression): a lone number is a value, too
  std::array<float, sizeof(Value) / sizeof(float)> expected;
  std::memcpy(expected.data(), &value, sizeof(value));
  constexpr auto count = static_cast<std::ptrdiff_t>(expected.size());
  return first_difference(numbers, expected.data(), count) == count;
}

/// The computation that writes the results of a stage.
void run(Stage stage, tesk::RigidBodySystem& robot);

/// Model of one object: the values that it must show, and its inputs and past computations that it does not show.
struct ObjectModel {
  explicit ObjectModel(const tesk::RigidBodySystem& initial);

  /// A stage that leaves state behind which later ones read, and what it read that lasts.
  struct Past {
    Stage stage;
    std::optional<QZ::Math::Transform> root_pose;
    Eigen::ArrayXf angles;
    long inertia_changes;
  };

  Layout layout;
  std::vector<float> shown;
  std::optional<QZ::Math::Transform> root_pose;                    ///< as the host gave it, before its round trip
  std::vector<std::function<void(tesk::RigidBodySystem&)>> loads;  ///< by body what last set its wrench
  std::vector<Past> history;                                       ///< the last of each, in the order in which they ran

  /// Returns the place of a piece of a result among all that is shown.
  float* place(Result result, unsigned long piece = 0);
  /// Makes this what the object must show from now on.
  template <typename Value>
  void expect(const Value& value, Result result, unsigned long piece = 0) {
    std::memcpy(place(result, piece), &value, sizeof(value));
  }
  template <typename Value>
  bool shows(const Value& value, Result result, unsigned long piece = 0) {
    return validate::shows(place(result, piece), value);
  }

  void remember(Stage stage, long inertia_changes);
  const Past* last(Stage stage) const;

  /// Takes positions, velocities or accelerations.
  Eigen::Map<const Eigen::ArrayXf> joints(Result values) const;

  /// Puts all inputs, in one go each, to an object that holds its initial values.
  void write_inputs(tesk::RigidBodySystem& robot) const;
  /// Brings an object that holds its initial values to where the history has brought this one, wrenches, velocities and
  /// accelerations apart: no later computation may depend on them.
  void repeat_history(tesk::RigidBodySystem& robot) const;
};

}  // namespace korvel::validate
