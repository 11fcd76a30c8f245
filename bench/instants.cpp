#include "bench/instants.h"

#include <Eigen/Geometry>
#include <cmath>
#include <iterator>
#include <random>

#include "metapod/models/korvel/robot.h"

namespace korvel::bench {

namespace {

constexpr std::size_t joint_count = std::size(metapod::models::KorvelRobot::bodies) - 1;

class Source {
 public:
  Eigen::ArrayXf joints() { return values(joint_count).cast<float>(); }
  Eigen::Matrix<double, 6, 1> root() { return values(6).matrix(); }
  std::vector<float> wrench() {
    const Eigen::ArrayXd six = values(6);
    std::vector<float> wrench;
    for (Eigen::Index i = 0; i < 6; ++i) wrench.push_back(static_cast<float>(i < 3 ? 20 * six(i) : six(i)));
    return wrench;
  }

 private:
  // Not std::uniform_real_distribution, which every library makes in its own way.
  double value() { return 2 * static_cast<double>(generator_()) / static_cast<double>(std::mt19937::max()) - 1; }
  Eigen::ArrayXd values(Eigen::Index count) {
    return Eigen::ArrayXd::NullaryExpr(count, [this] { return value(); });
  }

  std::mt19937 generator_{1};
};

/// A turn by an angle about a coordinate axis, as a quaternion with its derivatives.
struct Turning {
  Turning(double angle, double rate, double acceleration, const Eigen::Vector3d& axis)
      : value(Eigen::AngleAxisd(angle, axis)),
        first(along(axis, angle, rate / 2)),
        second(along(axis, angle, acceleration / 2).coeffs() - rate * rate / 4 * value.coeffs()) {}
  Turning(const Eigen::Quaterniond& q, const Eigen::Quaterniond& dq, const Eigen::Quaterniond& ddq)
      : value(q), first(dq), second(ddq) {}

  friend Turning operator*(const Turning& a, const Turning& b) {
    return {a.value * b.value, Eigen::Quaterniond((a.first * b.value).coeffs() + (a.value * b.first).coeffs()),
            Eigen::Quaterniond((a.second * b.value).coeffs() + 2 * (a.first * b.first).coeffs() +
                               (a.value * b.second).coeffs())};
  }

  Eigen::Quaterniond value, first, second;

 private:
  static Eigen::Quaterniond along(const Eigen::Vector3d& axis, double angle, double half_rate) {
    Eigen::Quaterniond result;
    result.w() = -half_rate * std::sin(angle / 2);
    result.vec() = half_rate * std::cos(angle / 2) * axis;
    return result;
  }
};

/// Of coordinates x, y, z, roll, pitch, yaw and their derivatives, as the peers take them.
host::RootMotion root_motion(const LoadedInstant& state) {
  const auto turning = [&](Eigen::Index d, const Eigen::Vector3d& axis) {
    return Turning(state.root_q[d], state.root_dq[d], state.root_ddq[d], axis);
  };
  const Turning q = turning(5, Eigen::Vector3d::UnitZ()) * turning(4, Eigen::Vector3d::UnitY()) *
                    turning(3, Eigen::Vector3d::UnitX());
  const auto wxyz = [](const Eigen::Quaterniond& p) { return Eigen::Vector4d(p.w(), p.x(), p.y(), p.z()); };
  return host::root_motion({state.root_q.head<3>(), state.root_dq.head<3>(), state.root_ddq.head<3>()},
                           {wxyz(q.value), wxyz(q.first), wxyz(q.second)});
}

}  // namespace

LoadedInstants seeded_instants(std::size_t count) {
  Source source;
  LoadedInstants states(count);
  for (std::size_t k = 0; k < states.size(); ++k) {
    LoadedInstant& state = states[k];
    state.joint_pos = source.joints();
    state.joint_vel = source.joints();
    state.joint_acc = source.joints();
    state.root_q = source.root();
    state.root_dq = source.root();
    state.root_ddq = source.root();
    state.root = root_motion(state);
    for (auto& wrench : state.wrenches) wrench = source.wrench();
    state.body = 1 + k % joint_count;
  }
  return states;
}

}  // namespace korvel::bench
