#include "recording/operations.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "recording/hash.h"

namespace korvel::recording {

namespace {

using Robot = tesk::RigidBodySystem;

/// What the type of a member function says.
template <typename Method>
struct Signature;
template <typename Returned, typename... Arguments>
struct Signature<Returned (Robot::*)(Arguments...)> {
  using Result = Returned;
  using Values = std::tuple<std::remove_cv_t<std::remove_reference_t<Arguments>>...>;
};
template <typename Returned, typename... Arguments>
struct Signature<Returned (Robot::*)(Arguments...) const> : Signature<Returned (Robot::*)(Arguments...)> {};
template <typename Returned, typename... Arguments>
struct Signature<Returned (Robot::*)(Arguments...) noexcept> : Signature<Returned (Robot::*)(Arguments...)> {};
template <typename Returned, typename... Arguments>
struct Signature<Returned (Robot::*)(Arguments...) const noexcept> : Signature<Returned (Robot::*)(Arguments...)> {};

template <typename... Values>
std::array<Shape, 4> shapes(const std::tuple<Values...>*) {
  return {Form<Values>::shape...};
}

/// Takes one value and goes on to the next.
template <typename Value>
auto next(const char*& from, const RobotSize& size) {
  const std::size_t bytes = Form<Value>::shape.bytes(size);
  auto value = Form<Value>::take(from, bytes);
  from += bytes;
  return value;
}

template <auto method, typename... Values>
void call(Robot& robot, const RobotSize& size, const char* arguments, char* result, const std::tuple<Values...>*) {
  using Returned = typename Signature<decltype(method)>::Result;
  // In braces: one after the other.
  const std::tuple<decltype(next<Values>(arguments, size))...> values{next<Values>(arguments, size)...};
  std::apply(
      [&](const auto&... value) {
        if constexpr (std::is_void_v<Returned>) {
          (robot.*method)(value...);
        } else {
          FormOf<Returned>::put(result, FormOf<Returned>::shape.bytes(size), (robot.*method)(value...));
        }
      },
      values);
}

constexpr Resources all_of(std::initializer_list<Resource> kinds) {
  Resources bits = 0;
  for (const Resource kind : kinds) bits |= bit(kind);
  return bits;
}
using Kinds = std::initializer_list<Resource>;

template <auto method>
OperationEntry entry_of(Operation operation, const char* name, Index index = Index::none, Kinds reads = {},
                        Kinds writes = {}) {
  using Values = typename Signature<decltype(method)>::Values;
  using Returned = typename Signature<decltype(method)>::Result;
  return {operation,
          name,
          index,
          shapes(static_cast<const Values*>(nullptr)),
          FormOf<Returned>::shape,
          all_of(reads),
          all_of(writes),
          {},
          [](Robot& robot, const RobotSize& size, const char* arguments, char* result) {
            call<method>(robot, size, arguments, result, static_cast<const Values*>(nullptr));
          }};
}

OperationEntry life(Operation operation, const char* name, std::array<Shape, 4> arguments = {}) {
  return {operation, name, Index::none, arguments, {}, 0, 0, {}, nullptr};
}

template <auto method>
OperationEntry computation(Operation operation, const char* name, Kinds reads, Kinds writes,
                           std::initializer_list<Stage> stages) {
  OperationEntry e = entry_of<method>(operation, name, Index::none, reads, writes);
  e.shown = ShownResults(written_by(stages));
  e.perform = [](Robot& robot, const RobotSize&, const char*, char*) { (robot.*method)(); };
  return e;
}

// Overloads.
constexpr float (Robot::*mass)() const noexcept = &Robot::getMass;
constexpr float (Robot::*mass_of_body)(unsigned long) const noexcept = &Robot::getMass;
constexpr void (Robot::*wrench)(unsigned long, const std::vector<float>&) noexcept = &Robot::setExternalWrench;
constexpr void (Robot::*wrench_in_frame)(unsigned long, const std::vector<float>&,
                                         QZ::Math::Transform) noexcept = &Robot::setExternalWrench;
constexpr const QZ::Math::Position3D& (Robot::*com)() const noexcept = &Robot::getComPosition;
constexpr QZ::Math::Position3D (Robot::*com_of_body)(unsigned long) const noexcept = &Robot::getComPosition;

/// The jacobian goes in and comes out; of what goes in, its columns are recorded.
OperationEntry partial_com_jacobian() {
  OperationEntry e = life(Operation::computePartialComJacobian, "computePartialComJacobian",
                          {Form<unsigned long>::shape, Form<unsigned long>::shape});
  e.index = Index::body_or_none;
  e.result = Form<Robot::ComJacobian>::shape;
  e.reads = all_of({Resource::root_transform, Resource::joint_pass, Resource::inertias});
  e.perform = [](Robot& robot, const RobotSize& size, const char* arguments, char* result) {
    const auto b = next<unsigned long>(arguments, size);
    const auto columns = static_cast<unsigned long>(size.coordinates());
    // One of another size is made anew, whatever it was.
    const bool same = next<unsigned long>(arguments, size) == columns;
    Robot::ComJacobian J = Robot::ComJacobian::Zero(3, same ? size.coordinates() : 0);
    robot.computePartialComJacobian(b, J);
    Form<Robot::ComJacobian>::put(result, Form<Robot::ComJacobian>::shape.bytes(size), J);
  };
  return e;
}

#define KORVEL_NAMED(name) Operation::name, #name

std::array<OperationEntry, operation_count> made_operations() {
  using I = Index;
  using R = Resource;
  using S = Stage;
  return {{
      life(KORVEL_NAMED(create)),
      life(KORVEL_NAMED(destroy)),
      // From which object, and the number of that one's next call.
      life(KORVEL_NAMED(clone), {Form<unsigned long>::shape, Form<unsigned long>::shape}),
      entry_of<&Robot::getName>(KORVEL_NAMED(getName)),
      entry_of<&Robot::getNbJointAngles>(KORVEL_NAMED(getNbJointAngles)),
      entry_of<&Robot::getNbBodies>(KORVEL_NAMED(getNbBodies)),
      entry_of<&Robot::getNbVolatileFrames>(KORVEL_NAMED(getNbVolatileFrames)),
      entry_of<&Robot::getRootName>(KORVEL_NAMED(getRootName)),
      entry_of<&Robot::getJointAngleName>(KORVEL_NAMED(getJointAngleName), I::joint),
      entry_of<&Robot::getJointAngleId>(KORVEL_NAMED(getJointAngleId)),
      entry_of<&Robot::getBodyName>(KORVEL_NAMED(getBodyName), I::body),
      entry_of<&Robot::getBodyId>(KORVEL_NAMED(getBodyId)),
      entry_of<&Robot::setBodyInertia>(KORVEL_NAMED(setBodyInertia), I::body, {}, {R::inertias, R::total_mass}),
      entry_of<mass>(KORVEL_NAMED(getMass), I::none, {R::total_mass}),
      entry_of<&Robot::getPartialMass>(KORVEL_NAMED(getPartialMass), I::body_or_none, {R::total_mass, R::inertias}),
      entry_of<mass_of_body>(Operation::getMassOfBody, "getMass (of a body)", I::body, {R::inertias}),
      entry_of<&Robot::setRootPose>(KORVEL_NAMED(setRootPose), I::root, {}, {R::root_pose, R::poses}),
      entry_of<&Robot::getRootPose>(KORVEL_NAMED(getRootPose), I::root, {R::poses}),
      entry_of<&Robot::setRootVelocity>(KORVEL_NAMED(setRootVelocity), I::none, {}, {R::root_velocity}),
      entry_of<&Robot::setRootAcceleration>(KORVEL_NAMED(setRootAcceleration), I::none, {}, {R::root_acceleration}),
      entry_of<&Robot::getRootVelocity>(KORVEL_NAMED(getRootVelocity), I::none, {R::root_velocity}),
      entry_of<&Robot::getRootAcceleration>(KORVEL_NAMED(getRootAcceleration), I::none, {R::root_acceleration}),
      entry_of<&Robot::setJointAnglesPos>(KORVEL_NAMED(setJointAnglesPos), I::none, {}, {R::positions}),
      entry_of<&Robot::setJointAnglesVel>(KORVEL_NAMED(setJointAnglesVel), I::none, {}, {R::velocities}),
      entry_of<&Robot::setJointAnglesAcc>(KORVEL_NAMED(setJointAnglesAcc), I::none, {}, {R::accelerations}),
      entry_of<&Robot::setJointAnglePos>(KORVEL_NAMED(setJointAnglePos), I::joint, {}, {R::positions}),
      entry_of<&Robot::setJointAngleVel>(KORVEL_NAMED(setJointAngleVel), I::joint, {}, {R::velocities}),
      entry_of<&Robot::setJointAngleAcc>(KORVEL_NAMED(setJointAngleAcc), I::joint, {}, {R::accelerations}),
      entry_of<&Robot::getJointAnglePos>(KORVEL_NAMED(getJointAnglePos), I::joint, {R::positions}),
      entry_of<&Robot::getJointAngleVel>(KORVEL_NAMED(getJointAngleVel), I::joint, {R::velocities}),
      entry_of<&Robot::getJointAngleAcc>(KORVEL_NAMED(getJointAngleAcc), I::joint, {R::accelerations}),
      entry_of<&Robot::getJointAnglesPos>(KORVEL_NAMED(getJointAnglesPos), I::none, {R::positions}),
      entry_of<&Robot::getJointAnglesVel>(KORVEL_NAMED(getJointAnglesVel), I::none, {R::velocities}),
      entry_of<&Robot::getJointAnglesAcc>(KORVEL_NAMED(getJointAnglesAcc), I::none, {R::accelerations}),
      entry_of<wrench>(KORVEL_NAMED(setExternalWrench), I::body, {}, {R::wrenches}),
      entry_of<wrench_in_frame>(Operation::setExternalWrenchInFrame, "setExternalWrench (in a frame)", I::body, {},
                                {R::wrenches}),
      computation<&Robot::computeFwdKinematicsExceptRoot>(
          KORVEL_NAMED(computeFwdKinematicsExceptRoot), {R::root_pose, R::positions, R::inertias, R::total_mass},
          {R::root_transform, R::joint_pass, R::in_root, R::com_in_root}, {S::except_root}),
      computation<&Robot::computeFwdKinematicsOnlyRoot>(KORVEL_NAMED(computeFwdKinematicsOnlyRoot),
                                                        {R::root_pose, R::in_root, R::com_in_root},
                                                        {R::root_transform, R::poses, R::com}, {S::only_root}),
      computation<&Robot::computeFwdKinematics>(
          KORVEL_NAMED(computeFwdKinematics), {R::root_pose, R::positions, R::inertias, R::total_mass},
          {R::root_transform, R::joint_pass, R::in_root, R::com_in_root, R::poses, R::com},
          {S::except_root, S::only_root}),
      computation<&Robot::computeGeneralizedMass>(KORVEL_NAMED(computeGeneralizedMass), {R::joint_pass, R::inertias},
                                                  {R::mass_matrix}, {S::generalized_mass}),
      partial_com_jacobian(),
      entry_of<&Robot::computePartialComPositionInRoot>(
          KORVEL_NAMED(computePartialComPositionInRoot), I::body_or_none,
          {R::in_root, R::com_in_root, R::com, R::inertias, R::total_mass}),
      entry_of<&Robot::getPoseInRoot>(KORVEL_NAMED(getPoseInRoot), I::body, {R::in_root}),
      entry_of<&Robot::getPose>(KORVEL_NAMED(getPose), I::body_or_none, {R::poses}),
      entry_of<&Robot::setPose>(KORVEL_NAMED(setPose), I::body, {}, {R::poses}),
      entry_of<&Robot::getVolatilePose>(KORVEL_NAMED(getVolatilePose), I::volatile_frame, {R::volatile_poses}),
      entry_of<&Robot::setVolatilePose>(KORVEL_NAMED(setVolatilePose), I::volatile_frame, {}, {R::volatile_poses}),
      entry_of<com_of_body>(Operation::getComPositionOfBody, "getComPosition (of a body)", I::body,
                            {R::poses, R::inertias}),
      entry_of<&Robot::getComPositionInRoot>(KORVEL_NAMED(getComPositionInRoot), I::none, {R::com_in_root}),
      entry_of<com>(KORVEL_NAMED(getComPosition), I::none, {R::com}),
      entry_of<&Robot::getGeneralizedMass>(KORVEL_NAMED(getGeneralizedMass), I::none, {R::mass_matrix}),
      entry_of<&Robot::getJacobianInRoot>(KORVEL_NAMED(getJacobianInRoot), I::none, {R::in_root}),
      entry_of<&Robot::getParentsVector>(KORVEL_NAMED(getParentsVector)),
      entry_of<&Robot::getDofNumbersVector>(KORVEL_NAMED(getDofNumbersVector)),
      entry_of<&Robot::getDofIndexesVector>(KORVEL_NAMED(getDofIndexesVector)),
      computation<&Robot::computeInverseDynamics>(KORVEL_NAMED(computeInverseDynamics),
                                                  {R::root_pose, R::root_velocity, R::root_acceleration, R::positions,
                                                   R::velocities, R::accelerations, R::wrenches, R::inertias},
                                                  {R::root_transform, R::joint_pass, R::torques},
                                                  {S::inverse_dynamics}),
      entry_of<&Robot::getJointAngleTorque>(KORVEL_NAMED(getJointAngleTorque), I::joint, {R::torques}),
      entry_of<&Robot::getJointAnglesTorque>(KORVEL_NAMED(getJointAnglesTorque), I::none, {R::torques}),
  }};
}
#undef KORVEL_NAMED

}  // namespace

const std::array<OperationEntry, operation_count>& all_operations() {
  static const std::array<OperationEntry, operation_count> operations = made_operations();
  return operations;
}

std::size_t OperationEntry::argument_bytes(const RobotSize& size) const {
  std::size_t bytes = 0;
  for (const Shape& shape : arguments) bytes += shape.bytes(size);
  return bytes;
}

std::size_t OperationEntry::result_numbers(const RobotSize& size) const {
  if (shown.empty()) return result.numbers(size);
  std::ptrdiff_t numbers = 0;
  for (const Result r : shown) numbers += korvel::entry(r).pieces(size) * korvel::entry(r).length(size);
  return static_cast<std::size_t>(numbers);
}

bool is_restated(Operation operation) {
  constexpr Resources inputs = inputs_of_object | bit(Resource::inertias);
  return operation == Operation::create || operation == Operation::getMass || (entry(operation).writes & inputs) != 0;
}

unsigned long count_of(Index index, const RobotSize& size) {
  switch (index) {
    case Index::joint:
      return static_cast<unsigned long>(size.joints);
    case Index::volatile_frame:
      return static_cast<unsigned long>(size.volatile_frames);
    case Index::root:
      return 1;
    case Index::none:
      return 0;
    case Index::body:
    case Index::body_or_none:
      break;
  }
  return static_cast<unsigned long>(size.bodies);
}

std::uint64_t result_word(const OperationEntry& entry, const RobotSize& size, const char* result) noexcept {
  const std::size_t bytes = entry.result_bytes(size);
  if (entry.result_type() != NumberType::real) return result_word(static_cast<const void*>(result), bytes);
  return result_word(reinterpret_cast<const float*>(result), bytes / sizeof(float));
}

const char* in_words(NumberType type) {
  static constexpr const char* types[] = {"", "f4", "u8", "i8", "S"};
  return types[static_cast<int>(type)];
}

std::uint64_t contract_hash(const RobotSize& size) {
  std::string text;
  for (const OperationEntry& e : all_operations()) {
    text += e.name;
    for (const Shape& shape : e.arguments) {
      if (shape.type != NumberType::none)
        text += std::string(" ") + in_words(shape.type) + std::to_string(shape.numbers(size));
    }
    text += " = " + std::to_string(e.result_numbers(size)) + '\n';
  }
  return checksum(text.data(), text.size());
}

}  // namespace korvel::recording
