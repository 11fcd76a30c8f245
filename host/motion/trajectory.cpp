#include "host/motion/trajectory.h"

#include <cmath>
#include <limits>
#include <optional>

#include "host/io/csv_reader.h"
#include "host/io/error.h"
#include "host/motion/differentiation.h"

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

bool is_single_precision(const Eigen::ArrayXXd& values) {
  // False for NaN as well.
  return (values.abs() <= static_cast<double>(std::numeric_limits<float>::max())).all();
}

Error error_at_sample(const Motion& motion, Eigen::Index sample, std::string_view text) {
  return error_at(motion.file, motion.lines.at(static_cast<std::size_t>(sample)), text);
}

/// The later one of the two samples that are closest in time.
Eigen::Index closest_sample(const Eigen::ArrayXd& time) {
  Eigen::Index closest = 0;
  (time.tail(time.size() - 1) - time.head(time.size() - 1)).minCoeff(&closest);
  return closest + 1;
}

}  // namespace

Trajectory::Trajectory(const Motion& motion)
    : time_(motion.time), q_(motion.coordinates), dq_(q_.rows(), q_.cols()), ddq_(dq_) {
  for (Eigen::Index d = first_root_angle; d < root_coordinates; ++d) unwrap(q_.col(d));
  for (Eigen::Index d = 0; d < q_.cols(); ++d) {
    const std::optional<Derivatives> derivatives = differentiate(time_, q_.col(d));
    if (!derivatives)
      throw error_at_sample(motion, closest_sample(time_), "expected a later time: too close to the one before");
    dq_.col(d) = derivatives->first;
    ddq_.col(d) = derivatives->second;
  }
  for (Eigen::Index sample = 0; sample < size(); ++sample) {
    if (is_single_precision(dq_.row(sample)) && is_single_precision(ddq_.row(sample))) continue;
    throw error_at_sample(
        motion, sample,
        "expected a velocity and an acceleration within single precision, found too large a change in "
        "too short a time");
  }
}

Instant Trajectory::at(Eigen::Index sample) const {
  const auto root = [sample](const Eigen::ArrayXXd& table) -> Eigen::Matrix<double, 6, 1> {
    return table.row(sample).head<root_coordinates>().transpose();
  };
  const auto joints = [sample](const Eigen::ArrayXXd& table) -> Eigen::ArrayXf {
    return table.row(sample).tail(table.cols() - root_coordinates).transpose().cast<float>();
  };
  return {root_motion(root(q_), root(dq_), root(ddq_)), joints(q_), joints(dq_), joints(ddq_)};
}

}  // namespace korvel::host
