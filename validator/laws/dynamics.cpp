#include "validator/laws/laws.h"

namespace korvel::validate::laws {

namespace {

/// The same posture without velocities, accelerations and wrenches.
State at_rest(State state) {
  state.dq.setZero();
  state.ddq.setZero();
  state.wrenches.setZero();
  return state;
}

void columns_are_torques(const Specimen& robot, const State& state, Deviations& deviations) {
  const MassMatrix M = robot.mass_matrix(state);
  State accelerated = at_rest(state);
  const Joints resting = robot.torques(accelerated);
  for (int d = 0; d < M.cols(); ++d) {
    accelerated.ddq.setZero();
    accelerated.ddq(d) = 1;
    deviations.compare(robot.torques(accelerated) - resting, M.col(d).tail(robot.joints()),
                       robot.torque_scale(accelerated), "torques of a unit acceleration of coordinate", d);
  }
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

void gravity_is_a_gradient(const Specimen& robot, const State& state, Deviations& deviations) {
  deviations.compare(robot.torques(at_rest(state)), potential_gradient(robot, state),
                     Joints::Constant(robot.joints(), potential_scale(robot)), "torques at rest");
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

// The bound is that of a derivative of the mass matrix and what is multiplied by it: the weights of the four matrices
// add up to 2, and a rounded angle changes an entry by up to twice its scale.
//
// The root's velocities are no derivatives of coordinates, but the equations of the joints are Lagrange's nonetheless.
// Its linear velocity is left out: it changes nothing, and its momentum would hide the small limbs.
void torques_are_lagranges(const Specimen& robot, const State& given, Deviations& deviations) {
  State state = given;
  const Coordinates root = robot.inertia_roots();
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
  deviations.compare(robot.torques(state), expected, scale, "torques");
}

void wrenches_are_local(const Specimen& robot, const State& state, Deviations& deviations) {
  const Joints before = robot.torques(state);
  for (int b = 0; b < robot.bodies(); ++b) {
    State loaded = state;
    loaded.wrenches.col(b) += Eigen::Matrix<float, 6, 1>::Constant(1 + static_cast<float>(b));
    const Joints after = robot.torques(loaded);
    for (int j = 0; j < robot.joints(); ++j) {
      if (robot.moves(coordinate_of_joint(j), b)) continue;
      deviations.compare_exactly(after(j), before(j), "torque of another limb, its last bit, with a wrench on body", b);
    }
  }
}

void wrenches_act_by_the_jacobian(const Specimen& robot, const State& state, Deviations& deviations) {
  State loaded = at_rest(state);
  const Joints without = robot.torques(loaded);
  robot.compute(loaded);
  for (int b = 0; b < robot.bodies(); ++b) {
    loaded.wrenches.setZero();
    loaded.wrenches.col(b) = state.wrenches.col(b);
    const Vector6 wrench = wrench_in(robot.pose_in_root(b), state, b);
    const Joints expected = -(robot.jacobian(b).transpose() * wrench).tail(robot.joints());
    deviations.compare(robot.torques(loaded) - without, expected, robot.torque_scale(loaded),
                       "change of torques by the wrench on body", b);
  }
}

void wrench_frames_agree(const Specimen& robot, const State& state, Deviations& deviations) {
  const QZ::Math::Transform frame = random_pose(deviations.seed() + 128);
  State moved = state;
  for (int b = 0; b < robot.bodies(); ++b) {
    const Vector6 wrench = wrench_in(affine(frame), state, b);
    moved.wrenches.col(b) << wrench.tail(3).cast<float>(), wrench.head(3).cast<float>();
  }
  const Joints expected = robot.torques(moved);
  for (int b = 0; b < robot.bodies(); ++b) {
    const auto body = static_cast<unsigned long>(b);
    robot->setExternalWrench(body, state.wrench(body), frame);
  }
  robot->computeInverseDynamics();
  const Joints seen = robot.shown_torques();
  // The moment about the other origin may be the larger one.
  State scale = moved;
  scale.wrenches.bottomRows(3) += state.wrenches.bottomRows(3).cwiseAbs();
  deviations.compare(seen, expected, robot.torque_scale(scale), "torques of wrenches given in another frame");
}

// The same root acceleration, put once as the rate of velocity components in turning axes and once without velocity.
void uniform_motion_is_rest(const Specimen& robot, const State& state, Deviations& deviations) {
  State still = state;
  still.dq.head(3).setZero();
  const Vector3d v = state.dq.head(3).cast<double>();
  const Vector3d w = state.dq.segment(3, 3).cast<double>();
  still.ddq.head(3) = (state.ddq.head(3).cast<double>() + w.cross(v)).cast<float>();
  deviations.compare(robot.torques(state), robot.torques(still), robot.torque_scale(state) + robot.torque_scale(still),
                     "torques with a linear velocity of the root");
}

}  // namespace

Checks dynamics() {
  return {{"laws.mass-matrix-torques", "Columns of the mass matrix are the torques of unit accelerations.",
           in_states<columns_are_torques, 128, 2>},
          {"laws.gravity", "Torques at rest are the derivatives of the potential energy.",
           in_states<gravity_is_a_gradient, 128, 2, 0, 1>},
          {"laws.lagrange", "Torques are those of Lagrange's equations with the mass matrix.",
           in_states<torques_are_lagranges, 64, 2, 0, 4>},
          {"laws.uniform-motion",
           "A root acceleration is the rate of the velocity's components: linear velocity needs no other torques.",
           in_states<uniform_motion_is_rest, 256, 2>},
          {"laws.wrenches-are-local", "A wrench changes no torque but those of the joints that move its body.",
           in_states<wrenches_are_local, 64, 0>},
          {"laws.wrenches-by-jacobian", "A wrench changes torques by the transposed jacobian times it.",
           in_states<wrenches_act_by_the_jacobian, 128, 2>},
          {"laws.wrench-frames", "A wrench given in another frame acts as the same wrench given in the body's frame.",
           in_states<wrench_frames_agree, 128, 2>}};
}

}  // namespace korvel::validate::laws
