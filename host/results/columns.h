#pragma once

#include <optional>
#include <string>
#include <vector>

#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// A row of the results file as it is written. Numbers have as many digits as give the same value back.
class Row {
 public:
  void add(double value);
  void add(float value);
  void add(const QZ::Math::Position3D& point);

  /// The line of the file.
  std::string line() const { return text_ + '\n'; }
  /// The first number that is not finite, as an index of a column.
  std::optional<std::size_t> first_not_finite() const { return first_not_finite_; }

 private:
  template <typename Number>
  void append(Number value);

  std::string text_;
  std::size_t count_ = 0;
  std::optional<std::size_t> first_not_finite_;
};

/// One sample of a run: the results that its cycle left in `system`.
struct Sample {
  const tesk::RigidBodySystem& system;
  double time;  ///< [s]
};

/// What a quantity belongs to: it is there once, or for each of them.
enum class Owner { robot, joint, body };

/// A quantity of the results file: one column, or NAME_x, NAME_y and NAME_z if it is a point in space.
struct Quantity {
  const char* name;  ///< JOINT and BODY stand for the name of the owner
  const char* unit;
  const char* meaning;
  Owner owner;
  bool is_point;
  void (*add)(Row& row, const Sample& sample, unsigned long owner);
};

namespace quantities {
extern const Quantity time, torque, com, com_root, origin, body_com;
}  // namespace quantities

/// All of them, in the order of their columns.
const std::vector<Quantity>& all_quantities();

/// The columns of a quantity of one owner; the name of the robot does not matter.
std::vector<std::string> columns_of(const Quantity& quantity, const std::string& owner = {});

/// All columns of the results of a robot.
std::vector<std::string> results_columns(const tesk::RigidBodySystem& system);

/// The header row, with these columns.
std::string results_header(const tesk::RigidBodySystem& system);

Row results_row(const Sample& sample);

}  // namespace korvel::host
