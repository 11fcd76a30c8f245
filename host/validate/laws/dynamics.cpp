#include "host/validate/laws/laws.h"

namespace korvel::validate::laws {

namespace {

std::string columns_are_torques(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.dynamic());
  return deviations.over(robot.samples(128), [&](std::uint64_t seed, const State& state) {
    const MassMatrix M = robot.mass_matrix(state);
    State accelerated = at_rest(state);
    const Joints resting = robot.torques(accelerated);
    for (int d = 0; d < M.cols(); ++d) {
      accelerated.ddq.setZero();
      accelerated.ddq(d) = 1;
      deviations.compare(robot.torques(accelerated) - resting, M.col(d).tail(robot.joints()),
                         robot.torque_scale(accelerated), {seed, "torques of a unit acceleration of coordinate", d});
    }
  });
}

std::string torques_superpose(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(5 * robot.dynamic());  // of five torques
  return deviations.over(robot.samples(256), [&](std::uint64_t seed, const State& state) {
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
  });
}

Vector3d com_in_root(const Specimen& robot, const State& state) {
  robot.set_joints(state);
  return vector(robot->getComPositionInRoot());
}

/// Joint by joint the derivative of the potential energy.
Joints potential_gradient(const Specimen& robot, const State& state) {
  const Vector3d up = affine(state.root_pose()).linear().row(2);
  Joints gradient(robot.joints());
  for (int j = 0; j < robot.joints(); ++j) {
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
  return deviations.over(robot.samples(128), [&](std::uint64_t seed, const State& state) {
    deviations.compare(robot.torques(at_rest(state)), potential_gradient(robot, state),
                       Joints::Constant(robot.joints(), potential_scale(robot)), {seed, "torques at rest"});
  });
}

/// Derivatives of the mass matrix by each joint angle.
std::vector<MassMatrix> mass_gradient(const Specimen& robot, const State& state) {
  std::vector<MassMatrix> gradient;
  for (int j = 0; j < robot.joints(); ++j) {
    gradient.push_back(
        derivative_of_second_degree(state, j, [&](const State& moved) { return robot.mass_matrix(moved); }));
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
  const Coordinates root = robot.inertia_roots();
  return deviations.over(robot.samples(64), [&](std::uint64_t seed, State state) {
    state.wrenches.setZero();
    state.dq.head(3).setZero();
    const Coordinates dq = state.dq.cast<double>();
    const Coordinates ddq = state.ddq.cast<double>();
    const std::vector<MassMatrix> dM = mass_gradient(robot, state);
    Coordinates momentum_rate = robot.mass_matrix(state) * ddq;
    Joints energy_gradient(robot.joints());
    for (int j = 0; j < robot.joints(); ++j) {
      const Coordinates momentum_change = dM[static_cast<std::size_t>(j)] * dq;
      momentum_rate += dq(coordinate_of_joint(j)) * momentum_change;
      energy_gradient(j) = 0.5 * dq.dot(momentum_change);
    }
    const Joints expected = joints_of(momentum_rate) - energy_gradient + potential_gradient(robot, state);
    const double speed = root.dot(dq.cwiseAbs());
    const double momentum = root.dot(ddq.cwiseAbs()) + speed * joints_of(dq).cwiseAbs().sum();
    const Joints scale = robot.torque_scale(state) + momentum * joints_of(root) +
                         Joints::Constant(robot.joints(), speed * speed / 2 + potential_scale(robot));
    deviations.compare(robot.torques(state), expected, scale, {seed, "torques"});
  });
}

std::string power_balances(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(lagrange_bound(robot));
  const Coordinates root = robot.inertia_roots();
  return deviations.over(robot.samples(64), [&](std::uint64_t seed, State state) {
    state.dq.head(6).setZero();  // what would keep a moving root on its way is not shown
    const Coordinates dq = state.dq.cast<double>();
    const Joints torques = robot.torques(state);
    double power = torques.dot(joints_of(dq));
    robot.compute(state);
    for (int b = 0; b < robot.bodies(); ++b) {
      const Affine3d pose = robot.pose_in_root(b);
      const Motion twist = robot.jacobian(b) * dq;
      const Vector3d w = twist.head(3);
      const Vector3d v = twist.tail(3) + w.cross(pose.translation());
      const Motion wrench = state.wrenches.col(b).cast<double>();
      power += v.dot(pose.linear() * wrench.head(3)) + w.dot(pose.linear() * wrench.tail(3));
    }
    const std::vector<MassMatrix> dM = mass_gradient(robot, state);
    double rate = dq.dot(robot.mass_matrix(state) * state.ddq.cast<double>());
    rate += potential_gradient(robot, state).dot(joints_of(dq));
    for (int j = 0; j < robot.joints(); ++j)
      rate += 0.5 * dq(coordinate_of_joint(j)) * dq.dot(dM[static_cast<std::size_t>(j)] * dq);
    const double speed = root.dot(dq.cwiseAbs());
    const double turning = dq.cwiseAbs().sum();
    const double scale = robot.torque_scale(state).dot(joints_of(dq).cwiseAbs()) + potential_scale(robot) * turning +
                         speed * (root.dot(state.ddq.cast<double>().cwiseAbs()) + speed * turning / 2);
    deviations.compare(power, rate, scale, {seed, "power"});
  });
}

}  // namespace

Checks dynamics() {
  return {
      law("laws.mass-matrix-torques", "Columns of the mass matrix are the torques of unit accelerations.",
          columns_are_torques),
      law("laws.torques-superpose",
          "Torques are linear in accelerations and wrenches, quadratic in velocities, and add up.", torques_superpose),
      law("laws.gravity", "Torques at rest are the derivatives of the potential energy.", gravity_is_a_gradient),
      law("laws.lagrange", "Torques are those of Lagrange's equations with the mass matrix.", torques_are_lagranges),
      law("laws.power-balance", "With the root at rest the power of torques and wrenches is the rate of energy.",
          power_balances)};
}

}  // namespace korvel::validate::laws
