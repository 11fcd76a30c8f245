#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/ground/ground_cycle.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// A row of the results file as it is written. Numbers have as many digits as give the same value back.
class Row {
 public:
  void add(double value);
  void add(float value);
  void add(const QZ::Math::Position3D& point);
  /// In single precision, as all other results are.
  template <typename Vector>
  void add_all(const Vector& numbers) {
    for (const double number : numbers) add(static_cast<float>(number));
  }

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

/// The robot of a run, and the bodies with the soles on which it stands: none if it is held by its root.
struct Subject {
  const tesk::RigidBodySystem& system;
  std::vector<unsigned long> soles = {};
};

/// Names of the bodies with its soles.
std::vector<std::string> sole_names(const Subject& robot);

/// One sample of a run: the results that its cycle left.
struct Sample {
  const Subject& robot;
  double time;                         ///< [s]
  const Standing* standing = nullptr;  ///< if the robot has soles
};

/// What a quantity belongs to: it is there once, or for each of them. Only a robot with soles has those from `ground`
/// on.
enum class Owner { robot, joint, body, ground, sole };

/// The columns of a quantity: NAME alone, or NAME_x, NAME_y and so on.
enum class Shape { number, plane, point, quaternion };

/// A quantity of the results file.
struct Quantity {
  const char* name;  ///< JOINT and BODY stand for the name of the owner
  const char* unit;
  const char* meaning;
  Owner owner;
  Shape shape;
  void (*add)(Row& row, const Sample& sample, unsigned long owner);
};

namespace quantities {
extern const Quantity time, torque, com, com_root, origin, body_com;
extern const Quantity force, moment, contact, pressure, orientation, zero_moment_point, margin, residual, feasible;
}  // namespace quantities

/// All of them, in the order of their columns.
const std::vector<Quantity>& all_quantities();

/// The columns of a quantity of one owner; the name of the robot does not matter.
std::vector<std::string> columns_of(const Quantity& quantity, const std::string& owner = {});

/// All columns of the results of a robot.
std::vector<std::string> results_columns(const Subject& robot);

/// The header row, with these columns.
std::string results_header(const Subject& robot);

Row results_row(const Sample& sample);

}  // namespace korvel::host
