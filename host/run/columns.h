#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "host/run/ground_cycle.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// One sample of a run: the results that its cycle left in `system`.
struct Sample {
  const tesk::RigidBodySystem& system;
  double time;  ///< [s]
  // Null if the robot is held by its root.
  const Ground* ground = nullptr;
  const Standing* standing = nullptr;
  /// The wrenches that a host has set, if they are known: the body, and about its origin in the axes of the world the
  /// force [N], then the moment [N m].
  const std::vector<std::pair<unsigned long, Eigen::Matrix<double, 6, 1>>>* wrenches = nullptr;
};

/// A quantity has a value for each owner of its kind. Only a robot with soles has a ground and soles.
enum class Owner { robot, joint, body, loaded_body, ground, sole };

/// Reads the value of an owner. The type of the value says the columns: NAME alone, or NAME_x, NAME_y and so on. All
/// types but `double` are written in single precision. A vector of four is a quaternion.
template <typename Value>
using Read = Value (*)(const Sample& sample, unsigned long owner);

/// A quantity of the results file.
struct Quantity {
  const char* name;  ///< JOINT and BODY stand for the name of the owner
  const char* unit;
  const char* meaning;
  Owner owner;
  std::variant<Read<double>, Read<float>, Read<Eigen::Vector2d>, Read<Eigen::Vector3d>, Read<Eigen::Vector4d>> read;
};

namespace quantities {
extern const Quantity time, angle, speed, torque, power, com, com_root, origin, body_com, applied_force, applied_moment;
extern const Quantity force, moment, contact, pressure, orientation, zero_moment_point, margin, residual, feasible;
}  // namespace quantities

/// The columns of a quantity of one owner; the name of the robot does not matter.
std::vector<std::string> columns_of(const Quantity& quantity, const std::string& owner = {});

/// All columns of the results of the sample's robot, in the order of the file.
std::vector<std::string> results_columns(const Sample& sample);

/// A row of the results file. Numbers have as many digits as give the same value back; one that is not finite is nan.
struct Row {
  std::string text;
  std::size_t count = 0;                        ///< of its numbers
  std::optional<std::size_t> first_not_finite;  ///< the index of the column
};
Row results_row(const Sample& sample);

}  // namespace korvel::host
