#include "motion/trajectory.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <utility>

#include "motion/csv/csv_reader.h"
#include "motion/spline.h"

namespace korvel::host {

namespace {

template <int n>
Moving<n> moving(const Curves& curves, Eigen::Index row) {
  return {curves.value.row(row).transpose(), curves.first.row(row).transpose(), curves.second.row(row).transpose()};
}

/// Long enough that what a piece needs of its neighbours is not much more than itself.
Eigen::Index length_of_pieces(const Eigen::ArrayXd& elapsed, double reach) {
  constexpr Eigen::Index shortest = 4096;
  const double duration = elapsed[elapsed.size() - 1];
  if (elapsed.size() <= shortest || reach >= duration) return elapsed.size();
  return std::max(shortest, static_cast<Eigen::Index>(reach / duration * static_cast<double>(elapsed.size())));
}

bool is_finite(const QZ::Math::Velocity6D& v) { return Eigen::Map<const Eigen::Array<float, 6, 1>>(&v.x).allFinite(); }

}  // namespace

Trajectory::Trajectory(Motion motion, double penalty)
    : motion_(std::move(motion)),
      penalty_(penalty),
      reach_(reach(penalty)),
      length_(length_of_pieces(motion_.elapsed, reach_)) {
  for (Eigen::Index s = 0; s < size(); ++s) {
    const Instant instant = at(s);
    if (is_finite(instant.root.velocity) && is_finite(instant.root.acceleration) && instant.joint_vel.allFinite() &&
        instant.joint_acc.allFinite())
      continue;
    throw error_at_sample(
        s,
        "expected a velocity and an acceleration within single precision, found too large a change in too "
        "short a time");
  }
}

Error Trajectory::error_at_sample(Eigen::Index sample, std::string_view text) const {
  return error_at(motion_.file, motion_.lines.at(static_cast<std::size_t>(sample)), std::string(text));
}

Trajectory::Piece Trajectory::piece(Eigen::Index first, Eigen::Index last) const {
  // The piece includes all samples that its splines depend on.
  const Eigen::ArrayXd& elapsed = motion_.elapsed;
  const Eigen::Index near_first =
      std::lower_bound(elapsed.begin(), elapsed.end(), elapsed[first] - reach_) - elapsed.begin();
  const Eigen::Index near_last =
      std::upper_bound(elapsed.begin(), elapsed.end(), elapsed[last - 1] + reach_) - elapsed.begin();
  const Eigen::Index from = std::max<Eigen::Index>(0, std::min(near_first, first - reach_in_samples));
  const Eigen::Index count = std::min(size(), std::max(near_last, last + reach_in_samples)) - from;
  const Spline spline(elapsed.segment(from, count), penalty_);
  if (!spline.is_defined()) {
    Eigen::Index before = 0;
    (elapsed.segment(from + 1, count - 1) - elapsed.segment(from, count - 1)).minCoeff(&before);
    throw error_at_sample(from + before + 1, fmt::format("expected time steps that a {}spline can be computed from, "
                                                         "found a step to this sample that is much shorter than others",
                                                         penalty_ > 0 ? "smoothing " : ""));
  }

  Piece result;
  result.first = first;
  const Curves position = spline.through(motion_.position.middleRows(from, count));
  const Curves orientation = spline.through(motion_.orientation.middleRows(from, count));
  for (Eigen::Index row = first - from; row < last - from; ++row) {
    result.root.push_back(root_motion(moving<3>(position, row), moving<4>(orientation, row)));
  }
  const Curves joints = spline.through(motion_.joints.middleRows(from, count));
  const auto of_piece = [&](const Eigen::ArrayXXd& values) -> Eigen::ArrayXXf {
    return values.middleRows(first - from, last - first).cast<float>().transpose();
  };
  result.pos = of_piece(joints.value);
  result.vel = of_piece(joints.first);
  result.acc = of_piece(joints.second);
  return result;
}

Instant Trajectory::at(Eigen::Index sample) const {
  const Eigen::Index first = sample - sample % length_;
  if (piece_.root.empty() || piece_.first != first) piece_ = piece(first, std::min(size(), first + length_));
  const Eigen::Index column = sample - first;
  return {piece_.root[static_cast<std::size_t>(column)], piece_.pos.col(column), piece_.vel.col(column),
          piece_.acc.col(column)};
}

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

QZ::Math::Transform to_pose(const Matrix3d& R_world, const Vector3d& t_world) {
  QZ::Math::Transform pose;
  Eigen::Map<Eigen::Matrix<float, 3, 4, Eigen::RowMajor>>(&pose.r00) << R_world.cast<float>(), t_world.cast<float>();
  return pose;
}

QZ::Math::Velocity6D to_velocity6d(const Vector3d& linear, const Vector3d& angular) {
  QZ::Math::Velocity6D rates;
  Eigen::Map<Eigen::Matrix<float, 6, 1>>(&rates.x) << linear.cast<float>(), angular.cast<float>();
  return rates;
}

Eigen::Quaterniond quaternion_of(const Eigen::Vector4d& wxyz) { return {wxyz[0], wxyz[1], wxyz[2], wxyz[3]}; }

}  // namespace

RootMotion root_motion(const Moving<3>& position, const Moving<4>& quaternion) {
  const Eigen::Quaterniond p = quaternion_of(quaternion.value);
  const Eigen::Quaterniond p_inverse = p.inverse();
  const Eigen::Quaterniond rate = p_inverse * quaternion_of(quaternion.first);
  const Matrix3d R = p.normalized().toRotationMatrix();

  const Vector3d w_root = 2 * rate.vec();
  const Vector3d dw_root = 2 * (p_inverse * quaternion_of(quaternion.second)).vec() - 2 * rate.w() * w_root;
  const Vector3d v_root = R.transpose() * position.first;
  const Vector3d dv_root = R.transpose() * position.second - w_root.cross(v_root);
  return {to_pose(R, position.value), to_velocity6d(v_root, w_root), to_velocity6d(dv_root, dw_root)};
}

}  // namespace korvel::host
