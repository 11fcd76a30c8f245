#pragma once

/// The operations of the interface, once. Their numbers, names, records, forwarders and calls by tests derive from
/// here.

#include <boost/callable_traits.hpp>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>
#include <vector>

#include "contract/shown.h"

namespace korvel {

using Interface = tesk::RigidBodySystem;

/// Data that calls leave behind for others, in an object or, the last two, in the module. A block of a recording
/// restates the inputs among them in this order.
enum class Resource : unsigned {
  root_pose,  ///< the coordinates
  root_velocity,
  root_acceleration,
  volatile_poses,  ///< one for each volatile frame
  wrenches,        ///< one for each body
  positions,       ///< one for each joint angle
  velocities,      ///< likewise
  accelerations,   ///< likewise
  root_transform,  ///< that of the root's joint, which the partial jacobian is turned by
  joint_pass,      ///< the other joints' transforms
  in_root,         ///< poses and jacobian relative to the root
  com_in_root,     ///< the robot's centre of mass, and what it is summed from
  poses,           ///< in the world, one for each body
  com,             ///< of the robot in the world
  mass_matrix,
  torques,
  inertias,  ///< one for each body
  total_mass
};
inline constexpr std::size_t resource_kinds = 18;
using Resources = EnumSet<Resource>;

/// Says what the first argument of an operation counts. The root is no argument: it is always body 0.
enum class IndexKind { none, body, body_or_none, joint, volatile_frame, root };

/// Returns how many there are of what an index counts; `none` is not counted.
constexpr std::size_t count_of(IndexKind kind, const RobotSize& size) {
  switch (kind) {
    case IndexKind::none:
      return 0;
    case IndexKind::root:
      return 1;
    case IndexKind::joint:
      return static_cast<std::size_t>(size.joints);
    case IndexKind::volatile_frame:
      return static_cast<std::size_t>(size.volatile_frames);
    default:
      return static_cast<std::size_t>(size.bodies);
  }
}

/// The place of an operation in the table: its number in recordings.
enum class Operation : std::uint16_t {};

/// An operation of the interface apart from its C++ function.
struct OperationData {
  const char* name;  ///< that of the interface; a word tells overloads apart
  IndexKind index = IndexKind::none;
  /// If each body, joint or frame has a resource of its own, an operation with an index uses that one alone.
  Resources reads = {}, writes = {};
  /// A computation returns nothing. The object shows the results of these stages after it.
  Stages stages = {};
};

/// A row of the table: an operation, which its member function identifies.
template <auto function>
struct OperationRow : OperationData {
  static constexpr auto method = function;
};

// Overloads.
inline constexpr float (Interface::*mass_of_robot)() const noexcept = &Interface::getMass;
inline constexpr float (Interface::*mass_of_body)(unsigned long) const noexcept = &Interface::getMass;
inline constexpr void (Interface::*external_wrench)(unsigned long,
                                                    const std::vector<float>&) noexcept = &Interface::setExternalWrench;
inline constexpr void (Interface::*wrench_in_frame)(unsigned long, const std::vector<float>&,
                                                    QZ::Math::Transform) noexcept = &Interface::setExternalWrench;
inline constexpr const QZ::Math::Position3D& (Interface::*com_of_robot)() const noexcept = &Interface::getComPosition;
inline constexpr QZ::Math::Position3D (Interface::*com_of_body)(unsigned long) const noexcept =
    &Interface::getComPosition;

namespace table {

template <auto function>
using Row = OperationRow<function>;
using I = Interface;
using K = IndexKind;
using R = Resource;
using S = Stage;

/// All operations in the order of the interface; new ones go to the end.
inline constexpr std::tuple operations{
    Row<&::create>{"create"},
    Row<&::destroy>{"destroy"},
    Row<&I::clone>{"clone"},
    Row<&I::getName>{"getName"},
    Row<&I::getNbJointAngles>{"getNbJointAngles"},
    Row<&I::getNbBodies>{"getNbBodies"},
    Row<&I::getNbVolatileFrames>{"getNbVolatileFrames"},
    Row<&I::getRootName>{"getRootName"},
    Row<&I::getJointAngleName>{"getJointAngleName", K::joint},
    Row<&I::getJointAngleId>{"getJointAngleId"},
    Row<&I::getBodyName>{"getBodyName", K::body},
    Row<&I::getBodyId>{"getBodyId"},
    Row<&I::setBodyInertia>{"setBodyInertia", K::body, {}, {R::inertias, R::total_mass}},
    Row<mass_of_robot>{"getMass", K::none, {R::total_mass}},
    Row<&I::getPartialMass>{"getPartialMass", K::body_or_none, {R::total_mass, R::inertias}},
    Row<mass_of_body>{"getMass (of a body)", K::body, {R::inertias}},
    Row<&I::setRootPose>{"setRootPose", K::root, {}, {R::root_pose, R::poses}},
    Row<&I::getRootPose>{"getRootPose", K::root, {R::poses}},
    Row<&I::setRootVelocity>{"setRootVelocity", K::none, {}, {R::root_velocity}},
    Row<&I::setRootAcceleration>{"setRootAcceleration", K::none, {}, {R::root_acceleration}},
    Row<&I::getRootVelocity>{"getRootVelocity", K::none, {R::root_velocity}},
    Row<&I::getRootAcceleration>{"getRootAcceleration", K::none, {R::root_acceleration}},
    Row<&I::setJointAnglesPos>{"setJointAnglesPos", K::none, {}, {R::positions}},
    Row<&I::setJointAnglesVel>{"setJointAnglesVel", K::none, {}, {R::velocities}},
    Row<&I::setJointAnglesAcc>{"setJointAnglesAcc", K::none, {}, {R::accelerations}},
    Row<&I::setJointAnglePos>{"setJointAnglePos", K::joint, {}, {R::positions}},
    Row<&I::setJointAngleVel>{"setJointAngleVel", K::joint, {}, {R::velocities}},
    Row<&I::setJointAngleAcc>{"setJointAngleAcc", K::joint, {}, {R::accelerations}},
    Row<&I::getJointAnglePos>{"getJointAnglePos", K::joint, {R::positions}},
    Row<&I::getJointAngleVel>{"getJointAngleVel", K::joint, {R::velocities}},
    Row<&I::getJointAngleAcc>{"getJointAngleAcc", K::joint, {R::accelerations}},
    Row<&I::getJointAnglesPos>{"getJointAnglesPos", K::none, {R::positions}},
    Row<&I::getJointAnglesVel>{"getJointAnglesVel", K::none, {R::velocities}},
    Row<&I::getJointAnglesAcc>{"getJointAnglesAcc", K::none, {R::accelerations}},
    Row<external_wrench>{"setExternalWrench", K::body, {}, {R::wrenches}},
    Row<wrench_in_frame>{"setExternalWrench (in a frame)", K::body, {}, {R::wrenches}},
    Row<&I::computeFwdKinematicsExceptRoot>{"computeFwdKinematicsExceptRoot",
                                            K::none,
                                            {R::root_pose, R::positions, R::inertias, R::total_mass},
                                            {R::root_transform, R::joint_pass, R::in_root, R::com_in_root},
                                            {S::except_root}},
    Row<&I::computeFwdKinematicsOnlyRoot>{"computeFwdKinematicsOnlyRoot",
                                          K::none,
                                          {R::root_pose, R::in_root, R::com_in_root},
                                          {R::root_transform, R::poses, R::com},
                                          {S::only_root}},
    Row<&I::computeFwdKinematics>{"computeFwdKinematics",
                                  K::none,
                                  {R::root_pose, R::positions, R::inertias, R::total_mass},
                                  {R::root_transform, R::joint_pass, R::in_root, R::com_in_root, R::poses, R::com},
                                  {S::except_root, S::only_root}},
    Row<&I::computeGeneralizedMass>{
        "computeGeneralizedMass", K::none, {R::joint_pass, R::inertias}, {R::mass_matrix}, {S::generalized_mass}},
    Row<&I::computePartialComJacobian>{
        "computePartialComJacobian", K::body_or_none, {R::root_transform, R::joint_pass, R::inertias}},
    Row<&I::computePartialComPositionInRoot>{"computePartialComPositionInRoot",
                                             K::body_or_none,
                                             {R::in_root, R::com_in_root, R::com, R::inertias, R::total_mass}},
    Row<&I::getPoseInRoot>{"getPoseInRoot", K::body, {R::in_root}},
    Row<&I::getPose>{"getPose", K::body_or_none, {R::poses}},
    Row<&I::setPose>{"setPose", K::body, {}, {R::poses}},
    Row<&I::getVolatilePose>{"getVolatilePose", K::volatile_frame, {R::volatile_poses}},
    Row<&I::setVolatilePose>{"setVolatilePose", K::volatile_frame, {}, {R::volatile_poses}},
    Row<com_of_body>{"getComPosition (of a body)", K::body, {R::poses, R::inertias}},
    Row<&I::getComPositionInRoot>{"getComPositionInRoot", K::none, {R::com_in_root}},
    Row<com_of_robot>{"getComPosition", K::none, {R::com}},
    Row<&I::getGeneralizedMass>{"getGeneralizedMass", K::none, {R::mass_matrix}},
    Row<&I::getJacobianInRoot>{"getJacobianInRoot", K::none, {R::in_root}},
    Row<&I::getParentsVector>{"getParentsVector"},
    Row<&I::getDofNumbersVector>{"getDofNumbersVector"},
    Row<&I::getDofIndexesVector>{"getDofIndexesVector"},
    Row<&I::computeInverseDynamics>{"computeInverseDynamics",
                                    K::none,
                                    {R::root_pose, R::root_velocity, R::root_acceleration, R::positions, R::velocities,
                                     R::accelerations, R::wrenches, R::inertias},
                                    {R::root_transform, R::joint_pass, R::torques},
                                    {S::inverse_dynamics}},
    Row<&I::getJointAngleTorque>{"getJointAngleTorque", K::joint, {R::torques}},
    Row<&I::getJointAnglesTorque>{"getJointAnglesTorque", K::none, {R::torques}},
};

}  // namespace table

inline constexpr std::size_t operation_count = std::tuple_size_v<decltype(table::operations)>;

/// An operation's entry in the table.
template <auto method>
inline constexpr const OperationRow<method>& row_of = std::get<OperationRow<method>>(table::operations);

/// Calls `visit` with every row.
template <typename Visit>
constexpr void for_each_operation(const Visit& visit) {
  std::apply([&](const auto&... row) { (visit(row), ...); }, table::operations);
}

/// The number of an operation.
template <auto method>
inline constexpr Operation operation_of = std::apply(
    [](const auto&... row) {
      std::uint16_t number = 0;
      const bool found = ((std::is_same_v<decltype(row), const OperationRow<method>&> || (++number, false)) || ...);
      return found ? Operation{number} : throw "the table has no such operation";
    },
    table::operations);

template <typename Object, typename... Arguments>
std::tuple<std::decay_t<Arguments>...> without_object(std::tuple<Object, Arguments...>*);

/// The types in the declaration of a member function, without references.
template <auto method>
struct SignatureOf {
  using Method = std::decay_t<decltype(method)>;
  using Result = std::decay_t<boost::callable_traits::return_type_t<Method>>;
  using Values = decltype(without_object(static_cast<boost::callable_traits::args_t<Method>*>(nullptr)));
  static constexpr bool is_noexcept = boost::callable_traits::is_noexcept_v<Method>;
};

}  // namespace korvel
