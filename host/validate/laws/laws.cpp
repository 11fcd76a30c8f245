#include "host/validate/laws/laws.h"

#include <fmt/format.h>

#include <algorithm>

namespace korvel::validate {

Checks law_checks() {
  return joined(
      {laws::kinematics, laws::mass_matrix, laws::dynamics, laws::wrenches, laws::symmetries, laws::known_bodies});
}

namespace laws {

State at_rest(State state) {
  state.dq.setZero();
  state.ddq.setZero();
  state.wrenches.setZero();
  return state;
}

Affine3d affine(const QZ::Math::Transform& T) {
  Eigen::Affine3f pose;
  pose.matrix() << T.r00, T.r01, T.r02, T.tx, T.r10, T.r11, T.r12, T.ty, T.r20, T.r21, T.r22, T.tz, 0, 0, 0, 1;
  return pose.cast<double>();
}

QZ::Math::Transform transform(const Affine3d& pose) {
  const Eigen::Affine3f p = pose.cast<float>();
  QZ::Math::Transform T;
  T.r00 = p(0, 0), T.r01 = p(0, 1), T.r02 = p(0, 2), T.tx = p(0, 3);
  T.r10 = p(1, 0), T.r11 = p(1, 1), T.r12 = p(1, 2), T.ty = p(1, 3);
  T.r20 = p(2, 0), T.r21 = p(2, 1), T.r22 = p(2, 2), T.tz = p(2, 3);
  return T;
}

Matrix3d cross(const Vector3d& a) {
  Matrix3d m;
  m << 0, -a.z(), a.y(), a.z(), 0, -a.x(), -a.y(), a.x(), 0;
  return m;
}

void Deviations::compare(const MatrixXd& seen, const MatrixXd& expected, const MatrixXd& scale, const Place& place) {
  for (Eigen::Index c = 0; c < expected.cols(); ++c) {
    for (Eigen::Index r = 0; r < expected.rows(); ++r) {
      const double error = std::abs(seen(r, c) - expected(r, c));
      const double tolerance = bound_ * scale(r, c);
      // Not a number is a finding too.
      if (!(error <= tolerance)) {
        const std::string index = place.index < 0 ? std::string() : fmt::format(" {}", place.index);
        throw Finding(fmt::format("{}{} of state {}: entry ({}, {}) is {:.8g} instead of {:.8g}, tolerance {:.1e}",
                                  place.what, index, place.seed, r, c, seen(r, c), expected(r, c), tolerance));
      }
      if (error > 0) largest_ = std::max(largest_, error / scale(r, c));
    }
  }
}

std::string Deviations::figure(std::size_t states) const {
  if (!(bound_ > 0)) return fmt::format("identical, {} states", states);
  return fmt::format("largest deviation {:.1e} of its scale, bound {:.1e}, {} states", largest_, bound_, states);
}

Specimen::Specimen(const Subject& subject)
    : seed_(subject.seed), system_(create(subject)), size_(*system_), parents_(system_->getParentsVector()) {
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
    // What turns about the body's own joint includes the body; across the axis it is as far out as its centre of mass.
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

std::vector<Sample> Specimen::samples(int count) const {
  std::vector<Sample> samples;
  for (int k = 0; k < count; ++k) {
    const std::uint64_t seed = seed_ + static_cast<std::uint64_t>(k);
    samples.push_back({seed, random_state(seed, size_)});
  }
  return samples;
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
    const Motion wrench = state.wrenches.col(b).cast<double>();
    const double w = turns.dot(dq);
    const double acceleration = gravity + arms(b).dot(ddq) + w * arms(b).dot(dq);
    const double force = mass(b) * acceleration + wrench.head(3).norm();
    const double moment = of(b).inertia * (turns.dot(ddq) + w * w) + wrench.tail(3).norm();
    sum += force * arms(b) + moment * turns;
  }
  return joints_of(sum);
}

}  // namespace laws

}  // namespace korvel::validate
