#include "validator/laws/laws.h"

// The rotational inertias of the robot cannot be read. These checks give every body one of their own, and with it
// masses and centres of mass, so that the textbook's sums over bodies can be held against the module.
namespace korvel::validate::laws {

namespace {

using Inertias = std::vector<Matrix3d>;

/// About the centre of mass, in the body's frame: that of three pairs of small masses along axes of any direction.
Inertias set_bodies(Specimen& robot, std::uint64_t seed) {
  Random random(seed);
  Inertias inertias;
  for (int b = 0; b < robot.bodies(); ++b) {
    const float mass = 0.5F + random(0.4F);
    const QZ::Math::Position3D com(random(0.1F), random(0.1F), random(0.1F));
    Eigen::Matrix3f places;
    random.fill(places, 0.1F);
    const Eigen::Matrix3f second_moment = mass * places * places.transpose();
    const Eigen::Matrix3f inertia = second_moment.trace() * Eigen::Matrix3f::Identity() - second_moment;
    robot->setBodyInertia(static_cast<unsigned long>(b), mass, com, inertia);
    inertias.push_back(inertia.cast<double>().selfadjointView<Eigen::Lower>());
  }
  robot.weigh();
  return inertias;
}

/// Rows 0 to 2 angular, 3 to 5 of the point p of the root's frame.
Jacobian at_point(Jacobian motion, const Vector3d& p) {
  motion.bottomRows(3) -= cross(p) * motion.topRows(3);
  return motion;
}

std::string mass_matrix_of_known_bodies(const Subject& subject) {
  Specimen robot(subject);
  const Inertias inertias = set_bodies(robot, subject.seed);
  Deviations deviations(2 * robot.dynamic(), subject.seed);
  const MassMatrix scale = robot.inertia_roots() * robot.inertia_roots().transpose();
  return deviations.over(128, robot.size(), [&](const State& state) {
    const MassMatrix M = robot.mass_matrix(state);
    MassMatrix sum = MassMatrix::Zero(M.rows(), M.cols());
    for (int b = 0; b < robot.bodies(); ++b) {
      const Affine3d pose = robot.pose_in_root(b);
      const Jacobian J = at_point(robot.jacobian(b), pose * robot.com(b));
      const Matrix3d inertia = pose.linear() * inertias[static_cast<std::size_t>(b)] * pose.linear().transpose();
      sum += J.topRows(3).transpose() * inertia * J.topRows(3);
      sum += robot.mass(b) * J.bottomRows(3).transpose() * J.bottomRows(3);
    }
    deviations.compare(M, sum, scale, "mass matrix");
  });
}

/// Motion of a body in root axes, angular, and linear of the point at the root's origin; and its rate of change,
/// components taken along axes at rest that coincide with the root's.
struct Moving {
  Vector3d w, v, dw, dv;
};

/// Goes from the root outwards. A column moves with the body before its joint.
std::vector<Moving> motions(const Specimen& robot, const State& state) {
  const Jacobian J = robot.jacobian();
  const Coordinates dq = state.dq.cast<double>();
  const Coordinates ddq = state.ddq.cast<double>();
  // Gravity is an acceleration upwards.
  const Vector3d up = affine(state.root_pose()).linear().row(2);
  std::vector<Moving> all{{dq.segment(3, 3), dq.head(3), ddq.segment(3, 3), ddq.head(3) + gravity * up}};
  for (int b = 1; b < robot.bodies(); ++b) {
    const Vector3d s = J.col(coordinate_of(b)).head(3);
    const Vector3d s0 = J.col(coordinate_of(b)).tail(3);
    const auto [w, v, dw, dv] = all[static_cast<std::size_t>(robot.parent(b))];
    const double rate = dq(coordinate_of(b));
    const double acceleration = ddq(coordinate_of(b));
    all.push_back({w + rate * s, v + rate * s0, dw + acceleration * s + rate * w.cross(s),
                   dv + acceleration * s0 + rate * (w.cross(s0) + v.cross(s))});
  }
  return all;
}

// Newton's and Euler's laws for each body; a joint carries what its bodies need and the wrenches do not give.
std::string torques_of_known_bodies(const Subject& subject) {
  Specimen robot(subject);
  const Inertias inertias = set_bodies(robot, subject.seed);
  Deviations deviations(2 * robot.dynamic(), subject.seed);
  return deviations.over(256, robot.size(), [&](const State& state) {
    robot.compute(state);
    const std::vector<Moving> moving = motions(robot, state);
    Coordinates expected = Coordinates::Zero(robot.size().coordinates());
    for (int b = 0; b < robot.bodies(); ++b) {
      const auto i = static_cast<std::size_t>(b);
      const Affine3d pose = robot.pose_in_root(b);
      const Vector3d p = pose * robot.com(b);
      const Matrix3d inertia = pose.linear() * inertias[i] * pose.linear().transpose();
      const auto& [w, v, dw, dv] = moving[i];
      const Vector3d acceleration = dv + dw.cross(p) + w.cross(v + w.cross(p));
      const Vector6 wrench = wrench_in(pose, state, b);
      const Vector3d force = robot.mass(b) * acceleration - wrench.tail<3>();
      const Vector3d moment =
          inertia * dw + w.cross(inertia * w) - wrench.head<3>() + p.cross(Vector3d(wrench.tail<3>()));
      const Jacobian J = at_point(robot.jacobian(b), p);
      expected += J.topRows(3).transpose() * moment + J.bottomRows(3).transpose() * force;
    }
    deviations.compare(robot.torques(state), joints_of(expected), robot.torque_scale(state), "torques");
  });
}

}  // namespace

Checks known_bodies() {
  return {{"laws.mass-matrix-of-bodies", "With inertias that the host sets, the mass matrix is the sum over bodies.",
           mass_matrix_of_known_bodies},
          {"laws.newton-euler", "With inertias that the host sets, torques are those of Newton's and Euler's laws.",
           torques_of_known_bodies}};
}

}  // namespace korvel::validate::laws
