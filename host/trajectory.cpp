#include "host/trajectory.h"

#include <cmath>
#include <limits>
#include <utility>

#include "host/differentiation.h"
#include "host/error.h"

namespace korvel::host {

namespace {

constexpr Eigen::Index root_coordinates = 6;
constexpr Eigen::Index first_root_angle = 3;

void unwrap(Eigen::Ref<Eigen::ArrayXd> angles) {
  const double turn = 2 * std::acos(-1.0);
  for (Eigen::Index i = 1; i < angles.size(); ++i) {
    angles[i] = angles[i - 1] + std::remainder(angles[i] - angles[i - 1], turn);
  }
}

bool isSinglePrecision(const Eigen::ArrayXXd& values) {
  // False for NaN as well.
  return (values.abs() <= static_cast<double>(std::numeric_limits<float>::max())).all();
}

}  // namespace

Trajectory::Trajectory(Motion motion)
    : time_(std::move(motion.time)), q_(std::move(motion.coordinates)), dq_(q_.rows(), q_.cols()), ddq_(dq_) {
  for (Eigen::Index d = first_root_angle; d < root_coordinates; ++d) unwrap(q_.col(d));
  for (Eigen::Index d = 0; d < q_.cols(); ++d) {
    const Derivatives derivatives = differentiate(time_, q_.col(d));
    dq_.col(d) = derivatives.first;
    ddq_.col(d) = derivatives.second;
  }
  if (!isSinglePrecision(dq_) || !isSinglePrecision(ddq_)) {
    throw Error("the samples are too close in time: velocities or accelerations exceed single precision");
  }
}

State Trajectory::at(Eigen::Index sample) const {
  const auto root = [sample](const Eigen::ArrayXXd& table) -> Eigen::Matrix<double, 6, 1> {
    return table.row(sample).head<root_coordinates>().transpose();
  };
  const auto joints = [sample](const Eigen::ArrayXXd& table) -> Eigen::ArrayXf {
    return table.row(sample).tail(table.cols() - root_coordinates).transpose().cast<float>();
  };
  return {rootMotion(root(q_), root(dq_), root(ddq_)), joints(q_), joints(dq_), joints(ddq_)};
}

}  // namespace korvel::host
