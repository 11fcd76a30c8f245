#include "host/run/columns.h"

#include <cmath>
#include <functional>
#include <string_view>
#include <type_traits>

#include "host/robot/frames.h"
#include "motion/csv/csv_reader.h"

namespace korvel::host {

namespace {

using Eigen::Vector2d;
using Eigen::Vector3d;
using Eigen::Vector4d;

const contact::SoleLoad& load(const Sample& s, unsigned long i) { return s.standing->stance.soles[i]; }

Vector4d quaternion(const Eigen::Isometry3d& pose) {
  const Eigen::Quaterniond q(pose.linear());
  return Vector4d(q.w(), q.x(), q.y(), q.z()).normalized();
}

}  // namespace

namespace quantities {
const Quantity time{"time", "s", "time of the sample", Owner::robot,  //
                    [](const Sample& s, unsigned long) { return s.time; }};
const Quantity angle{"JOINT_angle", "rad", "angle of the joint", Owner::joint,
                     [](const Sample& s, unsigned long j) { return s.system.getJointAnglePos(j); }};
const Quantity speed{"JOINT_speed", "rad/s", "its rate of change", Owner::joint,
                     [](const Sample& s, unsigned long j) { return s.system.getJointAngleVel(j); }};
const Quantity torque{"JOINT_torque", "N m", "torque that the joint delivers, about its axis", Owner::joint,
                      [](const Sample& s, unsigned long j) { return s.system.getJointAngleTorque(j); }};
const Quantity power{
    "JOINT_power", "W", "torque times speed; negative while the joint brakes", Owner::joint,
    [](const Sample& s, unsigned long j) { return s.system.getJointAngleTorque(j) * s.system.getJointAngleVel(j); }};
const Quantity com{"com", "m", "centre of mass in the world", Owner::robot,
                   [](const Sample& s, unsigned long) { return vector(s.system.getComPosition()); }};
const Quantity com_root{"com_root", "m", "centre of mass in the axes of the root", Owner::robot,
                        [](const Sample& s, unsigned long) { return vector(s.system.getComPositionInRoot()); }};
const Quantity origin{"BODY", "m", "the body's origin in the world", Owner::body, [](const Sample& s, unsigned long b) {
                        return Vector3d(isometry(s.system.getPose(b)).translation());
                      }};
const Quantity body_com{"BODY_com", "m", "the body's centre of mass in the world", Owner::body,
                        [](const Sample& s, unsigned long b) { return vector(s.system.getComPosition(b)); }};
const Quantity applied_force{
    "BODY_applied_force", "N", "force that the recorded program set on the body, in the world", Owner::loaded_body,
    [](const Sample& s, unsigned long i) -> Vector3d { return (*s.wrenches)[i].second.head<3>(); }};
const Quantity applied_moment{
    "BODY_applied_moment", "N m", "moment of that wrench about the body's origin, in the world", Owner::loaded_body,
    [](const Sample& s, unsigned long i) -> Vector3d { return (*s.wrenches)[i].second.tail<3>(); }};

const Quantity force{"BODY_force", "N", "force of the ground on the body, in the world", Owner::sole,
                     [](const Sample& s, unsigned long i) { return load(s, i).wrench_world.force; }};
const Quantity moment{"BODY_moment", "N m", "moment of that force about the body's origin, in the world", Owner::sole,
                      [](const Sample& s, unsigned long i) { return load(s, i).wrench_world.moment; }};
const Quantity contact{"BODY_contact", "-", "1 while the sole is in contact, else 0", Owner::sole,
                       [](const Sample& s, unsigned long i) { return s.standing->soles[i].share > 0 ? 1.0F : 0.0F; }};
const Quantity pressure{
    "BODY_cop", "m", "centre of pressure in the world; the sole's centre while it carries no load", Owner::sole,
    [](const Sample& s, unsigned long i) { return s.standing->in_world(load(s, i).pressure_world); }};
const Quantity orientation{
    "BODY", "-", "the body's orientation in the world, a quaternion", Owner::sole,
    [](const Sample& s, unsigned long i) { return quaternion(s.standing->soles[i].pose_world); }};
const Quantity zero_moment_point{
    "zmp", "m", "zero moment point on the ground, in the axes of the world", Owner::ground,
    [](const Sample& s, unsigned long) { return s.standing->in_world(s.standing->stance.zmp_world); }};
const Quantity margin{"zmp_margin", "m", "distance of that point to the edge of the support polygon, negative outside",
                      Owner::ground,
                      [](const Sample& s, unsigned long) { return static_cast<float>(s.standing->stance.margin); }};
const Quantity residual{"contact_residual", "-", "unsupported weight, as a share of the robot's weight", Owner::ground,
                        [](const Sample& s, unsigned long) { return static_cast<float>(s.standing->stance.residual); }};
const Quantity feasible{"feasible", "-", "1 if the unsupported weight is at most 0.001, else 0", Owner::ground,
                        [](const Sample& s, unsigned long) {
                          return s.standing->stance.residual <= contact::feasible_residual ? 1.0F : 0.0F;
                        }};

/// All of them, in the order of their columns.
static const std::reference_wrapper<const Quantity> all[] = {
    time,           angle, speed,  torque,  power,    com,         com_root,          origin, body_com, applied_force,
    applied_moment, force, moment, contact, pressure, orientation, zero_moment_point, margin, residual, feasible};
}  // namespace quantities

namespace {

unsigned long count_of(Owner owner, const Sample& sample) {
  if (owner == Owner::robot) return 1;
  if (owner == Owner::joint) return sample.system.getNbJointAngles();
  if (owner == Owner::body) return sample.system.getNbBodies();
  if (owner == Owner::loaded_body) return sample.wrenches == nullptr ? 0 : sample.wrenches->size();
  if (sample.ground == nullptr) return 0;
  return owner == Owner::ground ? 1 : sample.ground->soles.size();
}

std::string name_of(Owner owner, const Sample& sample, unsigned long i) {
  if (owner == Owner::joint) return sample.system.getJointAngleName(i);
  if (owner == Owner::body) return sample.system.getBodyName(i);
  if (owner == Owner::loaded_body) return sample.system.getBodyName((*sample.wrenches)[i].first);
  if (owner == Owner::sole) return sample.system.getBodyName(sample.ground->soles[i].body());
  return {};
}

/// Calls function(quantity, owner) for all values of a sample, in the order of their columns.
template <typename Function>
void for_values(const Sample& sample, const Function& function) {
  for (const Quantity& quantity : quantities::all) {
    for (unsigned long i = 0; i < count_of(quantity.owner, sample); ++i) function(quantity, i);
  }
}

template <typename Value>
std::vector<const char*> endings(Read<Value> /*read*/) {
  if constexpr (std::is_arithmetic_v<Value>) return {""};
  if constexpr (std::is_same_v<Value, Vector2d>) return {"_x", "_y"};
  if constexpr (std::is_same_v<Value, Vector4d>) return {"_qw", "_qx", "_qy", "_qz"};
  return {"_x", "_y", "_z"};
}

template <typename Number>
void add(Row& row, Number value) {
  if constexpr (std::is_arithmetic_v<Number>) {
    if (!std::isfinite(value) && !row.first_not_finite) row.first_not_finite = row.count;
    if (row.count++ > 0) row.text += ',';
    append_number(row.text, value);
  } else {
    for (const double number : value) add(row, static_cast<float>(number));
  }
}

}  // namespace

std::vector<std::string> columns_of(const Quantity& quantity, const std::string& owner) {
  std::string name = quantity.name;
  for (const std::string_view placeholder : {"JOINT", "BODY"}) {
    if (name.compare(0, placeholder.size(), placeholder) == 0) name.replace(0, placeholder.size(), owner);
  }
  std::vector<std::string> columns;
  for (const char* ending : std::visit([](auto read) { return endings(read); }, quantity.read)) {
    columns.push_back(name + ending);
  }
  return columns;
}

std::vector<std::string> results_columns(const Sample& sample) {
  std::vector<std::string> all;
  for_values(sample, [&](const Quantity& quantity, unsigned long i) {
    for (std::string& column : columns_of(quantity, name_of(quantity.owner, sample, i))) {
      all.push_back(std::move(column));
    }
  });
  return all;
}

Row results_row(const Sample& sample) {
  Row row;
  for_values(sample, [&](const Quantity& quantity, unsigned long i) {
    std::visit([&](auto read) { add(row, read(sample, i)); }, quantity.read);
  });
  return row;
}

}  // namespace korvel::host
