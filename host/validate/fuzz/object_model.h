#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "plugin/rigid_body_system.h"

namespace korvel::validate {

/// A stretch of what an object shows, see `Shown`.
struct Stretch {
  std::ptrdiff_t first, last;
};
using Stretches = std::vector<Stretch>;

/// What each computation writes; all else stays as it is.
namespace Writes {
extern const Stretches except_root, only_root, kinematics, generalized_mass, inverse_dynamics, nothing;
}  // namespace Writes

/// In words, such as "number 3 of the world pose of body 7".
std::string shown_name(std::ptrdiff_t place);

/// The first of `count` numbers that differs in its bits, or `count`. One that is not a number is like any other: which
/// of two operands gives it its sign is left to compilers.
std::ptrdiff_t first_difference(const float* a, const float* b, std::ptrdiff_t count);

/// Computations that leave state behind which later ones read.
enum class Step { except_root, only_root, inverse_dynamics };

/// What must be true of one object: what it shows, and those inputs and past computations that it does not show.
struct ObjectModel {
  struct Load {
    std::vector<float> wrench = std::vector<float>(6);
    std::optional<QZ::Math::Transform> frame;
  };
  /// A computation and what it read that lasts.
  struct Past {
    Step step;
    std::optional<QZ::Math::Transform> root_pose;
    Eigen::Array<float, 24, 1> angles;
    long inertia_changes;
  };

  std::vector<float> shown;
  std::optional<QZ::Math::Transform> root_pose;  ///< as the host gave it, before its round trip
  std::array<Load, 25> loads;
  std::vector<Past> history;  ///< the last of each, in the order in which they ran

  void remember(Step step, long inertia_changes);
  const Past* last(Step step) const;

  Eigen::Map<const Eigen::ArrayXf> joints(int derivative) const;

  /// Puts all inputs, in one go each, to an object that holds its initial values.
  void write_inputs(tesk::RigidBodySystem& robot) const;
  /// Brings an object that holds its initial values to where the history has brought this one, wrenches, velocities and
  /// accelerations apart: no later computation may depend on them.
  void repeat_history(tesk::RigidBodySystem& robot) const;
};

}  // namespace korvel::validate
