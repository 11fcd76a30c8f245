#include <array>

#include "host/validate/laws/laws.h"

namespace korvel::validate::laws {

namespace {

State at_rest(const State& state) {
  State resting;
  resting.q = state.q;
  return resting;
}

std::string columns_are_torques(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.dynamic());
  const auto samples = robot.samples(128);
  for (const auto& [seed, state] : samples) {
    const MassMatrix M = robot.mass_matrix(state);
    State accelerated = at_rest(state);
    const Joints resting = robot.torques(accelerated);
    for (int d = 0; d < coordinates; ++d) {
      accelerated.ddq.setZero();
      accelerated.ddq(d) = 1;
      deviations.compare(robot.torques(accelerated) - resting, M.col(d).tail(joints), robot.torque_scale(accelerated),
                         {seed, "torques of a unit acceleration of coordinate", d});
    }
  }
  return deviations.figure(samples.size());
}

std::string torques_superpose(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(5 * robot.dynamic());  // of five torques
  const auto samples = robot.samples(256);
  for (const auto& [seed, state] : samples) {
    const Joints resting = robot.torques(at_rest(state));
    State moving = at_rest(state);
    State accelerated = moving;
    State loaded = moving;
    moving.dq = state.dq;
    accelerated.ddq = state.ddq;
    loaded.wrenches = state.wrenches;
    const Joints parts = robot.torques(moving) + robot.torques(accelerated) + robot.torques(loaded) - 2 * resting;
    const Joints scale = robot.torque_scale(state);
    deviations.compare(robot.torques(state), parts, scale,
                       {seed,
                        "torques against those of velocities, accelerations "
                        "and wrenches one by one"});
    State scaled = accelerated;
    scaled.ddq *= -2;
    deviations.compare(robot.torques(scaled) - resting, -2 * (robot.torques(accelerated) - resting), 2 * scale,
                       {seed, "torques of accelerations times -2"});
    scaled = loaded;
    scaled.wrenches *= -2;
    deviations.compare(robot.torques(scaled) - resting, -2 * (robot.torques(loaded) - resting), 2 * scale,
                       {seed, "torques of wrenches times -2"});
    scaled = moving;
    scaled.dq *= -2;
    deviations.compare(robot.torques(scaled) - resting, 4 * (robot.torques(moving) - resting), 4 * scale,
                       {seed, "torques of velocities times -2"});
  }
  return deviations.figure(samples.size());
}

Vector3d com_in_root(const Specimen& robot, const State& state) {
  robot->setJointAnglesPos(state.q.tail(joints).array());
  robot->computeFwdKinematicsExceptRoot();
  return vector(robot->getComPositionInRoot());
}

/// Joint by joint the derivative of the potential energy.
Joints potential_gradient(const Specimen& robot, const State& state) {
  const Vector3d up = affine(state.root_pose()).linear().row(2);
  Joints gradient;
  for (int j = 0; j < joints; ++j) {
    const MatrixXd rate =
        derivative_of_first_degree(state, j, [&](const State& moved) { return com_in_root(robot, moved); });
    gradient(j) = robot.mass() * gravity * up.dot(rate.col(0));
  }
  return gradient;
}

/// The whole robot's height is rounded, however little of it a joint moves.
double potential_scale(const Specimen& robot) { return robot.mass() * gravity * robot.reach(); }

std::string gravity_is_a_gradient(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.dynamic() + angle_rounding);
  const auto samples = robot.samples(128);
  for (const auto& [seed, state] : samples) {
    deviations.compare(robot.torques(at_rest(state)), potential_gradient(robot, state),
                       Joints::Constant(potential_scale(robot)), {seed, "torques at rest"});
  }
  return deviations.figure(samples.size());
}

/// Derivatives of the mass matrix by each joint angle.
std::array<MassMatrix, joints> mass_gradient(const Specimen& robot, const State& state) {
  std::array<MassMatrix, joints> gradient;
  for (int j = 0; j < joints; ++j) {
    gradient[static_cast<std::size_t>(j)] =
        (derivative_of_second_degree(state, j, [&](const State& moved) { return robot.mass_matrix(moved); }));
  }
  return gradient;
}

/// Of a derivative of the mass matrix and what is multiplied by it: the weights of the four matrices add up to 2, and a
/// rounded angle changes an entry by up to twice its scale.
double lagrange_bound(const Specimen& robot) { return 2 * robot.dynamic() + 2 * 2 * angle_rounding; }

// The root's velocities are no derivatives of coordinates, but the equations of the joints are Lagrange's nonetheless.
// Its linear velocity is left out: it changes nothing, and its momentum would hide the small limbs.
std::string torques_are_lagranges(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(lagrange_bound(robot));
  const auto samples = robot.samples(64);
  const Coordinates root = robot.inertia_roots();
  for (auto [seed, state] : samples) {
    state.wrenches.setZero();
    state.dq.head(3).setZero();
    const Coordinates dq = state.dq.cast<double>();
    const Coordinates ddq = state.ddq.cast<double>();
    const std::array<MassMatrix, joints> dM = mass_gradient(robot, state);
    Coordinates momentum_rate = robot.mass_matrix(state) * ddq;
    Joints energy_gradient;
    for (int j = 0; j < joints; ++j) {
      const Coordinates momentum_change = dM[static_cast<std::size_t>(j)] * dq;
      momentum_rate += dq(6 + j) * momentum_change;
      energy_gradient(j) = 0.5 * dq.dot(momentum_change);
    }
    const Joints expected = momentum_rate.tail(joints) - energy_gradient + potential_gradient(robot, state);
    const double speed = root.dot(dq.cwiseAbs());
    const double momentum = root.dot(ddq.cwiseAbs()) + speed * dq.tail(joints).cwiseAbs().sum();
    const Joints scale = robot.torque_scale(state) + momentum * root.tail(joints) +
                         Joints::Constant(speed * speed / 2 + potential_scale(robot));
    deviations.compare(robot.torques(state), expected, scale, {seed, "torques"});
  }
  return deviations.figure(samples.size());
}

std::string power_balances(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(lagrange_bound(robot));
  const auto samples = robot.samples(64);
  const Coordinates root = robot.inertia_roots();
  for (auto [seed, state] : samples) {
    state.dq.head(6).setZero();  // what would keep a moving root on its way is not shown
    const Coordinates dq = state.dq.cast<double>();
    const Joints torques = robot.torques(state);
    double power = torques.dot(dq.tail(joints));
    robot.compute(state);
    for (int b = 0; b < bodies; ++b) {
      const Affine3d pose = robot.pose_in_root(b);
      const Motion twist = robot.jacobian(b) * dq;
      const Vector3d w = twist.head(3);
      const Vector3d v = twist.tail(3) + w.cross(pose.translation());
      const Motion wrench = state.wrenches.col(b).cast<double>();
      power += v.dot(pose.linear() * wrench.head(3)) + w.dot(pose.linear() * wrench.tail(3));
    }
    const std::array<MassMatrix, joints> dM = mass_gradient(robot, state);
    double rate = dq.dot(robot.mass_matrix(state) * state.ddq.cast<double>());
    rate += potential_gradient(robot, state).dot(dq.tail(joints));
    for (int j = 0; j < joints; ++j) rate += 0.5 * dq(6 + j) * dq.dot(dM[static_cast<std::size_t>(j)] * dq);
    const double speed = root.dot(dq.cwiseAbs());
    const double turning = dq.cwiseAbs().sum();
    const double scale = robot.torque_scale(state).dot(dq.tail(joints).cwiseAbs()) + potential_scale(robot) * turning +
                         speed * (root.dot(state.ddq.cast<double>().cwiseAbs()) + speed * turning / 2);
    deviations.compare(power, rate, scale, {seed, "power"});
  }
  return deviations.figure(samples.size());
}

}  // namespace

Checks dynamics() {
  using std::chrono::seconds;
  return {{"laws.mass-matrix-torques", "Columns of the mass matrix are the torques of unit accelerations", 3,
           seconds(60), columns_are_torques},
          {"laws.torques-superpose",
           "Torques are linear in accelerations and wrenches, quadratic in velocities, and add up", 3, seconds(60),
           torques_superpose},
          {"laws.gravity", "Torques at rest are the derivatives of the potential energy", 3, seconds(60),
           gravity_is_a_gradient},
          {"laws.lagrange", "Torques are those of Lagrange's equations with the mass matrix", 3, seconds(60),
           torques_are_lagranges},
          {"laws.power-balance", "With the root at rest the power of torques and wrenches is the rate of energy", 3,
           seconds(60), power_balances}};
}

}  // namespace korvel::validate::laws
