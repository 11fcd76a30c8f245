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
const Quantity time{"time",          "s",
                    "of the sample", Owner::robot,
                    Shape::number,   [](Row& row, const Sample& sample, unsigned long) { row.add(sample.time); }};
const Quantity torque{
    "JOINT_torque",
    "N m",
    "what the joint has to give, about its axis",
    Owner::joint,
    Shape::number,
    [](Row& row, const Sample& sample, unsigned long j) { row.add(sample.robot.system.getJointAngleTorque(j)); }};
const Quantity com{
    "com",
    "m",
    "centre of mass in the world",
    Owner::robot,
    Shape::point,
    [](Row& row, const Sample& sample, unsigned long) { row.add(sample.robot.system.getComPosition()); }};
const Quantity com_root{
    "com_root",
    "m",
    "centre of mass in the root",
    Owner::robot,
    Shape::point,
    [](Row& row, const Sample& sample, unsigned long) { row.add(sample.robot.system.getComPositionInRoot()); }};
const Quantity origin{"BODY",
                      "m",
                      "the body's origin in the world",
                      Owner::body,
                      Shape::point,
                      [](Row& row, const Sample& sample, unsigned long b) {
                        const QZ::Math::Transform& pose = sample.robot.system.getPose(b);
                        row.add({pose.tx, pose.ty, pose.tz});
                      }};
const Quantity body_com{
    "BODY_com",
    "m",
    "the body's centre of mass in the world",
    Owner::body,
    Shape::point,
    [](Row& row, const Sample& sample, unsigned long b) { row.add(sample.robot.system.getComPosition(b)); }};

const Quantity force{"BODY_force",
                     "N",
                     "what the ground exerts on the body, in the world",
                     Owner::sole,
                     Shape::point,
                     [](Row& row, const Sample& sample, unsigned long i) {
                       row.add_all(sample.standing->stance.soles[i].wrench.force);
                     }};
const Quantity moment{"BODY_moment",
                      "N m",
                      "of that force about the body's origin, in the world",
                      Owner::sole,
                      Shape::point,
                      [](Row& row, const Sample& sample, unsigned long i) {
                        row.add_all(sample.standing->stance.soles[i].wrench.moment);
                      }};
const Quantity contact{
    "BODY_contact",
    "1",
    "1 while the body stands on the ground, else 0",
    Owner::sole,
    Shape::number,
    [](Row& row, const Sample& sample, unsigned long i) { row.add(sample.standing->soles[i].contact ? 1.0F : 0.0F); }};
const Quantity pressure{"BODY_cop",
                        "m",
                        "centre of pressure in the world; the sole's centre without load",
                        Owner::sole,
                        Shape::plane,
                        [](Row& row, const Sample& sample, unsigned long i) {
                          const Standing& standing = *sample.standing;
                          row.add_all(standing.in_world(standing.stance.soles[i].pressure));
                        }};
const Quantity orientation{"BODY",
                           "1",
                           "the body's orientation in the world, a quaternion",
                           Owner::sole,
                           Shape::quaternion,
                           [](Row& row, const Sample& sample, unsigned long i) {
                             const Eigen::Quaterniond q(sample.standing->soles[i].pose.linear());
                             row.add_all(Eigen::Vector4d(q.w(), q.x(), q.y(), q.z()).normalized());
                           }};
const Quantity zero_moment_point{"zmp",
                                 "m",
                                 "zero moment point of the motion in the world, on the ground",
                                 Owner::ground,
                                 Shape::plane,
                                 [](Row& row, const Sample& sample, unsigned long) {
                                   const Standing& standing = *sample.standing;
                                   row.add_all(standing.in_world(standing.stance.zero_moment_point));
                                 }};
const Quantity margin{
    "zmp_margin",
    "m",
    "from that point to the edge of the support polygon, negative outside",
    Owner::ground,
    Shape::number,
    [](Row& row, const Sample& sample, unsigned long) { row.add(static_cast<float>(sample.standing->stance.margin)); }};
const Quantity residual{"contact_residual",
                        "1",
                        "what the ground cannot bear, as a share of the weight",
                        Owner::ground,
                        Shape::number,
                        [](Row& row, const Sample& sample, unsigned long) {
                          row.add(static_cast<float>(sample.standing->stance.residual));
                        }};
const Quantity feasible{"feasible",
                        "1",
                        "1 where that is at most 0.001, else 0",
                        Owner::ground,
                        Shape::number,
                        [](Row& row, const Sample& sample, unsigned long) {
                          const bool stands = sample.standing->stance.verdict == contact::Verdict::stands;
                          row.add(stands ? 1.0F : 0.0F);
                        }};
}  // namespace quantities

const std::vector<Quantity>& all_quantities() {
  using namespace quantities;
  static const std::vector<Quantity> all{time,   torque,   com,     com_root, origin,      body_com,
                                         force,  moment,   contact, pressure, orientation, zero_moment_point,
                                         margin, residual, feasible};
  return all;
}

namespace {

/// Calls function(index, name) for each owner of the kind.
template <typename Function>
void for_owners(Owner kind, const Subject& robot, const Function& function) {
  const tesk::RigidBodySystem& system = robot.system;
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
    case Owner::ground:
      if (!robot.soles.empty()) function(0UL, std::string());
      break;
    case Owner::sole:
      for (std::size_t i = 0; i < robot.soles.size(); ++i) function(i, system.getBodyName(robot.soles[i]));
      break;
  }
}

}  // namespace

std::vector<std::string> sole_names(const Subject& robot) {
  std::vector<std::string> names;
  for (const unsigned long body : robot.soles) names.push_back(robot.system.getBodyName(body));
  return names;
}

std::vector<std::string> columns_of(const Quantity& quantity, const std::string& owner) {
  std::string name = quantity.name;
  for (const std::string_view placeholder : {"JOINT", "BODY"}) {
    if (name.compare(0, placeholder.size(), placeholder) == 0) name.replace(0, placeholder.size(), owner);
  }
  switch (quantity.shape) {
    case Shape::number:
      break;
    case Shape::plane:
      return {name + "_x", name + "_y"};
    case Shape::point:
      return {name + "_x", name + "_y", name + "_z"};
    case Shape::quaternion:
      return {name + "_qw", name + "_qx", name + "_qy", name + "_qz"};
  }
  return {name};
}

std::vector<std::string> results_columns(const Subject& robot) {
  std::vector<std::string> all;
  for (const Quantity& quantity : all_quantities()) {
    for_owners(quantity.owner, robot, [&](unsigned long, const std::string& name) {
      for (std::string& column : columns_of(quantity, name)) all.push_back(std::move(column));
    });
  }
  return all;
}

std::string results_header(const Subject& robot) { return fmt::format("{}\n", fmt::join(results_columns(robot), ",")); }

Row results_row(const Sample& sample) {
  Row row;
  for (const Quantity& quantity : all_quantities()) {
    for_owners(quantity.owner, sample.robot,
               [&](unsigned long i, const std::string&) { quantity.add(row, sample, i); });
  }
  return row;
}

}  // namespace korvel::host
