#include "validator/laws/laws.h"

#include <fmt/format.h>

#include <algorithm>

namespace korvel::validate::laws {

Matrix3d cross(const Vector3d& a) {
  Matrix3d m;
  m << 0, -a.z(), a.y(), a.z(), 0, -a.x(), -a.y(), a.x(), 0;
  return m;
}

Vector6 wrench_in(const Affine3d& pose, const State& state, int b) {
  const Vector6 wrench = state.wrenches.col(b).cast<double>();
  const Vector3d force = pose.linear() * wrench.head(3);
  const Vector3d moment = pose.linear() * wrench.tail(3);
  return (Vector6() << moment + pose.translation().cross(force), force).finished();
}

void Deviations::compare(const MatrixXd& seen, const MatrixXd& expected, const MatrixXd& scale, const char* what,
                         int index) {
  for (Eigen::Index c = 0; c < expected.cols(); ++c) {
    for (Eigen::Index r = 0; r < expected.rows(); ++r) {
      const double error = std::abs(seen(r, c) - expected(r, c));
      const double tolerance = bound_ * scale(r, c);
      // NaN is a finding, too.
      if (!(error <= tolerance)) {
        const std::string place = index < 0 ? what : fmt::format("{} {}", what, index);
        throw Finding(fmt::format("{} of state {}: entry ({}, {}) is {:.8g} instead of {:.8g}, tolerance {:.1e}", place,
                                  seed_, r, c, seen(r, c), expected(r, c), tolerance));
      }
      if (error > 0) largest_ = std::max(largest_, error / scale(r, c));
    }
  }
}

std::string Deviations::figure(int states) const {
  if (!(bound_ > 0)) return fmt::format("identical, {} states", states);
  return fmt::format("largest deviation {:.1e} of its scale, bound {:.1e}, {} states", largest_, bound_, states);
}

Specimen::Specimen(const Subject& subject)
    : system_(create(subject)), size_(*system_), parents_(system_->getParentsVector()) {
  for (int b = 0; b < bodies(); ++b) {
    int depth = 0;
    for (int i = b; i > 0; i = parent(i)) ++depth;
    depth_ = std::max(depth_, depth);
  }
  weigh();
}

void Specimen::weigh() {
  const Coordinates inertias = mass_matrix(State(size_)).diagonal();
  mass_ = 0;
  bodies_.clear();
  for (int b = 0; b < bodies(); ++b) {
    const auto body = static_cast<unsigned long>(b);
    const auto mass = static_cast<double>(system_->getMass(body));
    system_->setPose(body, QZ::Math::Transform());
    const Vector3d com = vector(system_->getComPosition(body));
    // The bodies that turn about the body's own joint include the body; across the axis it is as far out as its centre
    // of mass.
    const double inertia = mass * com.squaredNorm() + (b > 0 ? inertias(coordinate_of(b)) : 0);
    double arm = com.norm();
    Coordinates arms = Coordinates::Zero(size_.coordinates());
    for (int k = b; k > 0; k = parent(k)) {
      arms(coordinate_of(k)) = arm;
      arm += (pose_in_root(k).translation() - pose_in_root(parent(k)).translation()).norm();
    }
    arms.head(6) << 1, 1, 1, arm, arm, arm;
    bodies_.push_back({mass, com, inertia, arms});
    mass_ += mass;
  }
}

bool Specimen::moves(int d, int b) const {
  while (b > 0 && coordinate_of(b) != d) b = parent(b);
  return d < root_coordinates || b > 0;
}

Affine3d Specimen::pose(int b) const { return affine(system_->getPose(static_cast<unsigned long>(b))); }
Affine3d Specimen::pose_in_root(int b) const { return affine(system_->getPoseInRoot(static_cast<unsigned long>(b))); }

Jacobian Specimen::jacobian(int b) const {
  Jacobian J = jacobian();
  for (int d = 0; d < J.cols(); ++d) {
    if (!moves(d, b)) J.col(d).setZero();
  }
  return J;
}

void Specimen::set_joints(const State& state) const {
  system_->setJointAnglesPos(joints_of(state.q).array());
  system_->computeFwdKinematicsExceptRoot();
}

MassMatrix Specimen::mass_matrix(const State& state) const {
  set_joints(state);
  system_->computeGeneralizedMass();
  return system_->getGeneralizedMass().cast<double>();
}

Joints Specimen::torques(const State& state) const {
  write(state, *system_);
  system_->computeInverseDynamics();
  return shown_torques();
}

Joints Specimen::shown_torques() const {
  return Eigen::Map<const Eigen::VectorXf>(system_->getJointAnglesTorque().begin(), joints()).cast<double>();
}

Vector3d Specimen::partial_moment(int b) const {
  const auto body = static_cast<unsigned long>(b);
  return static_cast<double>(system_->getPartialMass(body)) * vector(system_->computePartialComPositionInRoot(body));
}

double Specimen::reach() const {
  double reach = 0;
  for (const Body& body : bodies_) reach = std::max(reach, body.arms(3));
  return reach;
}

Coordinates Specimen::inertia_roots() const {
  Coordinates sum = Coordinates::Zero(size_.coordinates());
  for (const auto& [mass, com, inertia, arms] : bodies_) sum += mass * arms.cwiseAbs2() + inertia * arms.cwiseSign();
  return sum.cwiseSqrt();
}

Joints Specimen::torque_scale(const State& state) const {
  const Coordinates dq = state.dq.cast<double>().cwiseAbs();
  const Coordinates ddq = state.ddq.cast<double>().cwiseAbs();
  Coordinates sum = Coordinates::Zero(size_.coordinates());
  for (int b = 0; b < bodies(); ++b) {
    Coordinates turns = arms(b).cwiseSign();
    turns.head(3).setZero();
    const Vector6 wrench = state.wrenches.col(b).cast<double>();
    const double w = turns.dot(dq);
    const double acceleration = gravity + arms(b).dot(ddq) + w * arms(b).dot(dq);
    const double force = mass(b) * acceleration + wrench.head(3).norm();
    const double moment = of(b).inertia * (turns.dot(ddq) + w * w) + wrench.tail(3).norm();
    sum += force * arms(b) + moment * turns;
  }
  return joints_of(sum);
}

}  // namespace korvel::validate::laws
