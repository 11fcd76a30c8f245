#include "host/results/columns.h"

#include <fmt/format.h>

#include <cmath>
#include <iterator>
#include <string_view>

namespace korvel::host {

template <typename Number>
void Row::append(Number value) {
  if (!std::isfinite(value) && !first_not_finite_) first_not_finite_ = count_;
  if (count_++ > 0) text_ += ',';
  fmt::format_to(std::back_inserter(text_), "{}", value);
}

void Row::add(double value) { append(value); }
void Row::add(float value) { append(value); }

void Row::add(const QZ::Math::Position3D& point) {
  add(point.x);
  add(point.y);
  add(point.z);
}

namespace quantities {
const Quantity time{"time",       "s",   "of the sample",
                    Owner::robot, false, [](Row& row, const Sample& sample, unsigned long) { row.add(sample.time); }};
const Quantity torque{
    "JOINT_torque",
    "N m",
    "what the joint has to give, about its axis",
    Owner::joint,
    false,
    [](Row& row, const Sample& sample, unsigned long j) { row.add(sample.system.getJointAngleTorque(j)); }};
const Quantity com{
    "com",        "m",  "centre of mass in the world",
    Owner::robot, true, [](Row& row, const Sample& sample, unsigned long) { row.add(sample.system.getComPosition()); }};
const Quantity com_root{
    "com_root",
    "m",
    "centre of mass in the root",
    Owner::robot,
    true,
    [](Row& row, const Sample& sample, unsigned long) { row.add(sample.system.getComPositionInRoot()); }};
const Quantity origin{"BODY",
                      "m",
                      "the body's origin in the world",
                      Owner::body,
                      true,
                      [](Row& row, const Sample& sample, unsigned long b) {
                        const QZ::Math::Transform& pose = sample.system.getPose(b);
                        row.add({pose.tx, pose.ty, pose.tz});
                      }};
const Quantity body_com{"BODY_com",
                        "m",
                        "the body's centre of mass in the world",
                        Owner::body,
                        true,
                        [](Row& row, const Sample& sample, unsigned long b) { row.add(sample.system.getComPosition(b)); }};
}  // namespace quantities

const std::vector<Quantity>& all_quantities() {
  using namespace quantities;
  static const std::vector<Quantity> all{time, torque, com, com_root, origin, body_com};
  return all;
}

namespace {

/// Calls function(index, name) for each owner of the kind.
template <typename Function>
void for_owners(Owner kind, const tesk::RigidBodySystem& system, const Function& function) {
  switch (kind) {
    case Owner::robot:
      function(0UL, std::string());
      break;
    case Owner::joint:
      for (unsigned long j = 0; j < system.getNbJointAngles(); ++j) function(j, system.getJointAngleName(j));
      break;
    case Owner::body:
      for (unsigned long b = 0; b < system.getNbBodies(); ++b) function(b, system.getBodyName(b));
      break;
  }
}

}  // namespace

std::vector<std::string> columns_of(const Quantity& quantity, const std::string& owner) {
  std::string name = quantity.name;
  for (const std::string_view placeholder : {"JOINT", "BODY"}) {
    if (name.compare(0, placeholder.size(), placeholder) == 0) name.replace(0, placeholder.size(), owner);
  }
  if (!quantity.is_point) return {name};
  return {name + "_x", name + "_y", name + "_z"};
}

std::vector<std::string> results_columns(const tesk::RigidBodySystem& system) {
  std::vector<std::string> all;
  for (const Quantity& quantity : all_quantities()) {
    for_owners(quantity.owner, system, [&](unsigned long, const std::string& name) {
      for (std::string& column : columns_of(quantity, name)) all.push_back(std::move(column));
    });
  }
  return all;
}

std::string results_header(const tesk::RigidBodySystem& system) {
  return fmt::format("{}\n", fmt::join(results_columns(system), ","));
}

Row results_row(const Sample& sample) {
  Row row;
  for (const Quantity& quantity : all_quantities()) {
    for_owners(quantity.owner, sample.system,
               [&](unsigned long i, const std::string&) { quantity.add(row, sample, i); });
  }
  return row;
}

}  // namespace korvel::host
