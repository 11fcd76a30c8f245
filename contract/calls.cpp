#include "contract/calls.h"

#include "contract/operations.h"

namespace korvel {

namespace {

/// Returns the argument of this type: of several, the one that belongs to what the operation writes.
template <auto method, typename Value>
decltype(auto) argument([[maybe_unused]] Arguments& with, [[maybe_unused]] unsigned long index) {
  constexpr Resources writes = row_of<method>.writes;
  constexpr std::size_t derivative = writes.has(Resource::positions) ? 0 : writes.has(Resource::velocities) ? 1 : 2;
  if constexpr (std::is_same_v<Value, unsigned long>) {
    return index;
  } else if constexpr (std::is_same_v<Value, float>) {
    return writes.has(Resource::inertias) ? with.masses[index]
                                          : with.joints[derivative](static_cast<Eigen::Index>(index));
  } else if constexpr (std::is_same_v<Value, Interface::JointValues>) {
    return (with.joints[derivative]);
  } else if constexpr (std::is_same_v<Value, std::vector<float>>) {
    return (with.wrenches[index]);
  } else if constexpr (std::is_same_v<Value, QZ::Math::Transform>) {
    return (with.pose);
  } else if constexpr (std::is_same_v<Value, QZ::Math::Velocity6D>) {
    return writes.has(Resource::root_velocity) ? (with.velocity) : (with.acceleration);
  } else if constexpr (std::is_same_v<Value, QZ::Math::Position3D>) {
    return (with.com);
  } else if constexpr (std::is_same_v<Value, Eigen::Matrix3f>) {
    return (with.inertia);
  } else if constexpr (std::is_same_v<Value, std::string>) {
    return operation_of<method> == operation_of<&Interface::getJointAngleId> ? (with.joint_name) : (with.body_name);
  } else {
    static_assert(std::is_same_v<Value, Interface::ComJacobian>, "expected a type of arguments that is known here");
    return (with.jacobian);
  }
}

template <auto method, typename... Values>
void call(Interface& robot, Arguments& with, const std::tuple<Values...>*) {
  constexpr IndexKind kind = row_of<method>.index;
  const auto call_with = [&]([[maybe_unused]] unsigned long index) {
    (robot.*method)(argument<method, Values>(with, index)...);
  };
  if constexpr (kind == IndexKind::none || kind == IndexKind::root) {
    call_with(0);
  } else {
    const std::size_t count = count_of(kind, robot);
    for (std::size_t i = 0; i < count; ++i) call_with(i);
    // The one index that names no body for every operation: getPose takes no other.
    if (kind == IndexKind::body_or_none) call_with(~0UL);
  }
}

const std::string unknown(64, '?');

/// Calls the operation in a way that throws or allocates: with a name that does not exist, or with a jacobian of
/// another size.
template <auto method, typename... Values>
void call_to_allocate(Interface& robot, Interface::ComJacobian& J, const std::tuple<Values...>*) {
  if constexpr (std::is_same_v<std::tuple<Values...>, std::tuple<std::string>>) {
    (robot.*method)(unknown);
  } else if constexpr (sizeof...(Values) == 0) {
    (robot.*method)();
  } else {
    (robot.*method)(robot.getNbBodies() - 1, J);
  }
}

struct Operations {
  std::vector<RealTimeOperation> real_time;
  std::vector<AllocatingOperation> allocating;
};

template <auto method>
void add(Operations& to) {
  using Values = typename SignatureOf<method>::Values;
  static constexpr const Values* values = nullptr;
  constexpr const char* name = row_of<method>.name;
  constexpr bool may_allocate = !SignatureOf<method>::is_noexcept;
  // Without arguments such an operation returns a string, a vector or an object of its own.
  constexpr bool always_allocates = may_allocate && std::tuple_size_v<Values> == 0;
  if constexpr (!always_allocates) {
    to.real_time.push_back({name, [](Interface& robot, Arguments& with) { call<method>(robot, with, values); }});
  }
  if constexpr (may_allocate) {
    to.allocating.push_back(
        {name, [](Interface& robot, Interface::ComJacobian& J) { call_to_allocate<method>(robot, J, values); }});
  }
}

const Operations& operations() {
  static const Operations all = [] {
    Operations made;
    for_each_operation([&](const auto& row) {
      // `create` and `destroy` are no member functions.
      if constexpr (std::is_member_function_pointer_v<decltype(row.method)>)
        add<std::decay_t<decltype(row)>::method>(made);
    });
    return made;
  }();
  return all;
}

}  // namespace

Arguments::Arguments(const State& state, const tesk::RigidBodySystem& robot)
    : pose(state.root_pose()),
      velocity(state.root_velocity()),
      acceleration(state.root_acceleration()),
      joints{joints_of(state.q), joints_of(state.dq), joints_of(state.ddq)},
      jacobian(3, RobotSize(robot).coordinates()),
      joint_name(robot.getJointAngleName(robot.getNbJointAngles() - 1)),
      body_name(robot.getBodyName(robot.getNbBodies() - 1)) {
  for (unsigned long b = 0; b < robot.getNbBodies(); ++b) {
    wrenches.push_back(state.wrench(b));
    masses.push_back(robot.getMass(b));
  }
}

const std::vector<RealTimeOperation>& real_time_operations() { return operations().real_time; }

const std::vector<AllocatingOperation>& allocating_operations() { return operations().allocating; }

std::vector<State> varied_states(std::uint64_t seed, std::size_t lively, const RobotSize& size) {
  Random random(seed);
  State pole = random_state(random.integer(), size);
  pole.q(4) = 1.5707964F;
  State hardly = random_state(random.integer(), size);
  for (Eigen::VectorXf* values : {&hardly.q, &hardly.dq, &hardly.ddq}) *values *= 1e-39F;
  hardly.wrenches *= 1e-39F;
  std::vector<State> states{State(size), pole, hardly};
  for (std::size_t i = 0; i < lively; ++i) states.push_back(random_state(random.integer(), size));
  return states;
}

std::vector<Arguments> varied_arguments(const tesk::RigidBodySystem& robot, std::uint64_t seed, std::size_t lively) {
  std::vector<Arguments> arguments;
  for (const State& state : varied_states(seed, lively, robot)) arguments.emplace_back(state, robot);
  return arguments;
}

}  // namespace korvel
