#include "support/truth.h"

namespace korvel::tests {

using Eigen::Affine3d;
using Eigen::AngleAxisd;
using Eigen::Matrix3d;
using Eigen::Vector3d;

namespace {

Vector3d vector(const metapod::Spatial::Vector3& v) { return Eigen::Vector3f(v.x, v.y, v.z).cast<double>(); }

Affine3d root_pose(const Eigen::VectorXd& q) {
  Affine3d pose = Affine3d::Identity();
  pose.linear() =
      (AngleAxisd(q(5), Vector3d::UnitZ()) * AngleAxisd(q(4), Vector3d::UnitY()) * AngleAxisd(q(3), Vector3d::UnitX()))
          .toRotationMatrix();
  pose.translation() = q.head(3);
  return pose;
}

Matrix3d point_inertia(double m, const Vector3d& c) {
  return m * (c.squaredNorm() * Matrix3d::Identity() - c * c.transpose());
}

Body body_of(const metapod::models::BodyDescription& row) {
  const auto& [x, y, z] = row.rotation;
  Affine3d frame = Affine3d::Identity();
  frame.linear() << vector(x).transpose(), vector(y).transpose(), vector(z).transpose();
  frame.translation() = vector(row.translation);
  const auto& [mass, h, I] = row.inertia;
  const auto m = static_cast<double>(mass);
  const Vector3d c = vector(h) / m;
  Eigen::Matrix3f about_origin;
  about_origin << I.xx, I.yx, I.zx, I.yx, I.yy, I.zy, I.zx, I.zy, I.zz;
  return {row.parent, frame, m, c, about_origin.cast<double>() - point_inertia(m, c)};
}

}  // namespace

Bodies bodies_of(const RobotTable& table) {
  Bodies bodies;
  for (const auto& row : table) bodies.push_back(body_of(row));
  return bodies;
}

const Bodies& robot_bodies() {
  static const Bodies bodies = bodies_of(robot_table());
  return bodies;
}

Truth::Truth(const Bodies& bodies, const Affine3d& root, const Eigen::VectorXd& angles)
    : bodies_(bodies), angles_(angles), poses_(bodies.size(), root) {
  for (int b = 1; b < body_count(); ++b) {
    poses_[static_cast<std::size_t>(b)] =
        pose(of(b).parent) * of(b).frame * AngleAxisd(angles(b - 1), Vector3d::UnitZ());
  }
}

Truth::Truth(const Bodies& bodies, const State& state)
    : Truth(bodies, root_pose(state.q.cast<double>()), state.q.tail(state.q.size() - root_coordinates).cast<double>()) {
}

Vector3d Truth::first_moment(int without) const {
  Vector3d sum = Vector3d::Zero();
  for (int b = 0; b < body_count(); ++b) sum += (b == without ? 0 : mass(b)) * com(b);
  return sum;
}

Truth::Jacobian Truth::jacobian(int b, const Vector3d& p) const {
  Jacobian J = Jacobian::Zero(6, coordinate_count());
  const auto turn = [&](int d, const Vector3d& axis, const Vector3d& origin) {
    J.col(d) << axis, axis.cross(p - origin);
  };
  for (int k = 0; k < 3; ++k) {
    J.col(k).tail(3) = pose(0).linear().col(k);
    turn(3 + k, pose(0).linear().col(k), pose(0).translation());
  }
  for (int i = b; i > 0; i = of(i).parent) turn(coordinate(i), pose(i).linear().col(2), pose(i).translation());
  return J;
}

Eigen::Matrix3Xd Truth::first_moment_jacobian(int without) const {
  Eigen::Matrix3Xd sum = Eigen::Matrix3Xd::Zero(3, coordinate_count());
  for (int b = 0; b < body_count(); ++b) sum += (b == without ? 0 : mass(b)) * jacobian(b, com(b)).bottomRows(3);
  return sum;
}

Truth::Jacobian Truth::momentum_jacobian(int b) const {
  Jacobian J = jacobian(b, com(b));
  const Matrix3d& R = pose(b).linear();
  J.topRows(3) = R * of(b).Ic * R.transpose() * J.topRows(3);
  J.bottomRows(3) *= mass(b);
  return J;
}

Truth::Matrix Truth::mass_matrix() const {
  Matrix H = Matrix::Zero(coordinate_count(), coordinate_count());
  for (int b = 0; b < body_count(); ++b) H += jacobian(b, com(b)).transpose() * momentum_jacobian(b);
  return H;
}

Truth Truth::moved(const Vector& dq, const Vector& ddq, double t) const {
  const Vector step = t * dq + 0.5 * t * t * ddq;
  const Vector3d v = dq.head(3);
  const Vector3d w = dq.segment(3, 3);
  const Vector3d turn = step.segment(3, 3);
  Affine3d root = pose(0);
  root.translation() += root.linear() * (step.head(3) + 0.5 * t * t * w.cross(v));
  if (turn.norm() > 0) root.linear() = root.linear() * AngleAxisd(turn.norm(), turn.normalized()).toRotationMatrix();
  return {bodies_, root, angles_ + step.tail(joint_count())};
}

Truth::Vector Truth::forces(const State& state) const {
  const Vector dq = state.dq.cast<double>();
  const Vector ddq = state.ddq.cast<double>();
  Vector sum = Vector::Zero(coordinate_count());
  for (int b = 0; b < body_count(); ++b) {
    Vector6 load =
        derivative([&](double t) { return Vector6(moved(dq, ddq, t).momentum_jacobian(b) * (dq + t * ddq)); });
    load(5) += mass(b) * gravity;
    const Vector3d f = pose(b).linear() * state.wrenches.col(b).head(3).cast<double>();
    const Vector3d n = pose(b).linear() * state.wrenches.col(b).tail(3).cast<double>();
    load.head(3) -= n + (pose(b).translation() - com(b)).cross(f);
    load.tail(3) -= f;
    sum += jacobian(b, com(b)).transpose() * load;
  }
  return sum;
}

Truth::Vector Truth::arms(int b) const {
  Vector arms = Vector::Zero(coordinate_count());
  double arm = of(b).c.norm();
  for (int i = b; i > 0; i = of(i).parent) {
    arms(coordinate(i)) = arm;
    arm += of(i).frame.translation().norm();
  }
  arms.head(root_coordinates) << 1, 1, 1, arm, arm, arm;
  return arms;
}

Truth::Matrix Truth::inertia_scale() const {
  Vector sum = Vector::Zero(coordinate_count());
  for (int b = 0; b < body_count(); ++b) sum += mass(b) * arms(b).cwiseAbs2() + of(b).Ic.norm() * arms(b).cwiseSign();
  return sum.cwiseSqrt() * sum.cwiseSqrt().transpose();
}

Truth::Vector Truth::force_scale(const State& state) const {
  Vector sum = Vector::Zero(coordinate_count());
  for (int b = 0; b < body_count(); ++b) {
    const Jacobian J = jacobian(b, com(b)).cwiseAbs();
    const Vector6 v = J * state.dq.cast<double>().cwiseAbs();
    const Vector6 a = J * state.ddq.cast<double>().cwiseAbs();
    const Vector6 wrench = state.wrenches.col(b).cast<double>();
    const double w = v.head(3).norm();
    const double force = mass(b) * (gravity + a.tail(3).norm() + w * v.tail(3).norm()) + wrench.head(3).norm();
    const double moment = of(b).Ic.norm() * (a.head(3).norm() + w * w) + wrench.tail(3).norm();
    sum += force * arms(b) + moment * arms(b).cwiseSign();
  }
  return sum;
}

}  // namespace korvel::tests
