#include "host/motion/trajectory.h"

#include <array>
#include <cmath>
#include <utility>

#include "host/io/csv_reader.h"
#include "host/motion/spline.h"

namespace korvel::host {

namespace {

/// The splines of the columns of a table, at their samples.
template <int n>
class Curves {
 public:
  template <typename Table>
  Curves(const Spline& spline, const Table& samples) {
    for (Eigen::Index d = 0; d < n; ++d) curves_[static_cast<std::size_t>(d)] = spline.through(samples.col(d));
  }

  Moving<n> at(Eigen::Index sample) const {
    Moving<n> moving;
    for (Eigen::Index d = 0; d < n; ++d) {
      const Curve& curve = curves_[static_cast<std::size_t>(d)];
      moving.value[d] = curve.value[sample];
      moving.first[d] = curve.first[sample];
      moving.second[d] = curve.second[sample];
    }
    return moving;
  }

 private:
  std::array<Curve, std::size_t{n}> curves_;
};

bool is_finite(const QZ::Math::Velocity6D& v) {
  return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z) && std::isfinite(v.wx) && std::isfinite(v.wy) &&
         std::isfinite(v.wz);
}

}  // namespace

Trajectory::Trajectory(Motion motion, double penalty)
    : file_(std::move(motion.file)), lines_(std::move(motion.lines)), time_(std::move(motion.time)) {
  const Spline spline(motion.elapsed, penalty);
  {
    const Curves<3> position(spline, motion.position);
    const Curves<4> orientation(spline, motion.orientation);
    root_.reserve(static_cast<std::size_t>(size()));
    for (Eigen::Index s = 0; s < size(); ++s) root_.push_back(root_motion(position.at(s), orientation.at(s)));
  }
  for (Eigen::ArrayXXf* table : {&pos_, &vel_, &acc_}) table->resize(motion.joints.cols(), size());
  for (Eigen::Index j = 0; j < motion.joints.cols(); ++j) {
    const Curve curve = spline.through(motion.joints.col(j));
    pos_.row(j) = curve.value.cast<float>().transpose();
    vel_.row(j) = curve.first.cast<float>().transpose();
    acc_.row(j) = curve.second.cast<float>().transpose();
  }
  for (Eigen::Index s = 0; s < size(); ++s) {
    const RootMotion& root = root_[static_cast<std::size_t>(s)];
    if (is_finite(root.velocity) && is_finite(root.acceleration) && vel_.col(s).allFinite() && acc_.col(s).allFinite())
      continue;
    throw error_at_sample(
        s,
        "expected a velocity and an acceleration within single precision, found too large a change in too "
        "short a time");
  }
}

Error Trajectory::error_at_sample(Eigen::Index sample, std::string_view text) const {
  return error_at(file_, lines_.at(static_cast<std::size_t>(sample)), text);
}

Instant Trajectory::at(Eigen::Index sample) const {
  return {root_[static_cast<std::size_t>(sample)], pos_.col(sample), vel_.col(sample), acc_.col(sample)};
}

}  // namespace korvel::host
