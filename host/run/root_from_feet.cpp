#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include "host/run/ground.h"

namespace korvel::host {

namespace {

using Eigen::Isometry3d;
using Eigen::Vector3d;

/// Nearer to the ground than this a sole touches it, and deeper below it than this a sole is the support [m].
constexpr double tolerance = 5e-4;

/// The frame of a sole in its body: origin in the middle, z upright on the sole and upwards where the body stands at
/// `pose`.
Isometry3d frame_in_body(const contact::Sole& sole, const Isometry3d& pose) {
  const bool points_down = (pose.linear() * sole.normal_body()).z() < 0;
  const Vector3d z = points_down ? Vector3d(-sole.normal_body()) : sole.normal_body();
  const Vector3d along = sole.corners_body()[1] - sole.corners_body()[0];
  const Vector3d x = (along - along.dot(z) * z).normalized();
  Isometry3d frame = Isometry3d::Identity();
  frame.linear() << x, z.cross(x), z;
  frame.translation() = sole.centre_body();
  return frame;
}

/// Returns the pose in double precision, because accelerations come from differences of poses.
Isometry3d pose_in_root(const Robot& robot, const Eigen::ArrayXd& angles, unsigned long body) {
  Isometry3d pose = Isometry3d::Identity();
  for (auto b = static_cast<int>(body); b > 0; b = robot.bodies[static_cast<std::size_t>(b)].parent) {
    const Placement at_zero = placement_in_parent(robot, robot.bodies[static_cast<std::size_t>(b)]);
    pose = Eigen::Translation3d(at_zero.translation) * at_zero.rotation *
           Eigen::AngleAxisd(angles[b - 1], Vector3d::UnitZ()) * pose;
  }
  return pose;
}

/// The pose turned upright and put on the ground, with its heading and its place in the plane.
Isometry3d flat_on_ground(const Isometry3d& pose, double height) {
  const double heading = std::atan2(pose.linear()(1, 0), pose.linear()(0, 0));
  Isometry3d flat(Eigen::AngleAxisd(heading, Vector3d::UnitZ()));
  flat.translation() << pose.translation().head<2>(), height;
  return flat;
}

/// Goes from 0 to 1 with velocities of zero at both ends.
double smooth_step(double share) { return share * share * share * (10 + share * (6 * share - 15)); }

Isometry3d between(const Isometry3d& from, const Isometry3d& to, double share) {
  Isometry3d pose(Eigen::Quaterniond(from.linear()).slerp(share, Eigen::Quaterniond(to.linear())));
  pose.translation() = from.translation() + share * (to.translation() - from.translation());
  return pose;
}

/// Follows the supporting sole through the samples of a motion.
class Support {
 public:
  Support(const Motion& motion, const Ground& ground, const Robot& robot)
      : ground_(ground), root_(static_cast<std::size_t>(motion.joints.rows())) {
    for (const contact::Sole& sole : ground.soles) {
      Sole& added = soles_.emplace_back();
      const auto given = motion.contacts.find(robot.bodies[sole.body()].name);
      if (given != motion.contacts.end()) added.contact = given->second;
      // The robot is upright in the first sample.
      const Isometry3d in_body = frame_in_body(sole, pose_in_root(robot, motion.joints.row(0), sole.body()));
      for (const Vector3d& corner : sole.corners_body()) {
        const Vector3d in_sole = in_body.inverse() * corner;
        added.corners.emplace_back(in_sole.x(), in_sole.y(), 0);
      }
      for (Eigen::Index s = 0; s < motion.joints.rows(); ++s) {
        added.in_root.push_back(pose_in_root(robot, motion.joints.row(s), sole.body()) * in_body);
      }
    }
  }

  /// The root's poses in the world.
  const std::vector<Isometry3d>& root() {
    const auto lower = [](const Sole& a, const Sole& b) {
      return a.in_root.front().translation().z() < b.in_root.front().translation().z();
    };
    support_ = static_cast<std::size_t>(std::min_element(soles_.begin(), soles_.end(), lower) - soles_.begin());
    soles_[support_].placed = flat_on_ground(soles_[support_].in_root.front(), ground_.height);
    for (std::size_t s = 0; s < root_.size(); ++s) {
      root_[s] = by(support_, s);
      for (std::size_t i = 0; i < soles_.size(); ++i) {
        if (i == support_) continue;
        const double above = height(i, s);
        Sole& sole = soles_[i];
        if (!touches(sole, above, s)) {
          sole.touches_from.reset();
        } else if (!sole.touches_from) {
          sole.touches_from = s;
        }
        if (takes_over(sole, above, s)) {
          take_over(i, s);
          break;
        }
      }
    }
    return root_;
  }

 private:
  struct Sole {
    std::vector<Vector3d> corners;            ///< in the sole's frame, in its plane
    std::vector<Isometry3d> in_root;          ///< the sole's frame, for each sample
    std::vector<bool> contact;                ///< as the motion gives it; empty if it does not
    Isometry3d placed;                        ///< in the world, while it is the support
    std::optional<std::size_t> touches_from;  ///< the sample from which it has touched the ground beside the support
  };

  /// The root where a sole stands as it is placed.
  Isometry3d by(std::size_t sole, std::size_t s) const {
    return soles_[sole].placed * soles_[sole].in_root[s].inverse();
  }

  /// Height of the lowest corner above the ground [m].
  double height(std::size_t i, std::size_t s) const {
    const Isometry3d pose = root_[s] * soles_[i].in_root[s];
    double lowest = std::numeric_limits<double>::infinity();
    for (const Vector3d& corner : soles_[i].corners) lowest = std::min(lowest, (pose * corner).z());
    return lowest - ground_.height;
  }

  static bool touches(const Sole& sole, double above, std::size_t s) {
    return sole.contact.empty() ? above < tolerance : sole.contact[s];
  }

  bool takes_over(const Sole& sole, double above, std::size_t s) const {
    const std::vector<bool>& support = soles_[support_].contact;
    return sole.contact.empty() || support.empty() ? above < -tolerance : sole.contact[s] && !support[s];
  }

  /// The sole is the support from sample s on. Both touch the ground before.
  void take_over(std::size_t sole, std::size_t s) {
    const std::size_t from = soles_[sole].touches_from.value_or(s);
    const std::size_t middle = (from + s) / 2;
    soles_[sole].placed = flat_on_ground(root_[middle] * soles_[sole].in_root[middle], ground_.height);
    for (std::size_t i = from; i < s; ++i) {
      const double share = static_cast<double>(i - from) / static_cast<double>(s - from);
      root_[i] = between(root_[i], by(sole, i), smooth_step(share));
    }
    root_[s] = by(sole, s);
    soles_[support_].touches_from = s;
    support_ = sole;
  }

  const Ground& ground_;
  std::vector<Sole> soles_;
  std::vector<Isometry3d> root_;
  std::size_t support_ = 0;
};

}  // namespace

void place_root_from_feet(Motion& motion, const Ground& ground, const Robot& robot) {
  Support support(motion, ground, robot);
  Eigen::Index s = 0;
  for (const Isometry3d& root : support.root()) {
    const Eigen::Quaterniond q(root.linear());
    motion.orientation.row(s) << q.w(), q.x(), q.y(), q.z();
    motion.position.row(s++) = root.translation().transpose();
  }
  make_continuous(motion.orientation);
}

}  // namespace korvel::host
