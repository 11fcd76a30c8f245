#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <vector>

#include "contract/robot_size.h"

namespace korvel {

/// Uniform numbers with the same bits everywhere: whole-number arithmetic, scaled by powers of two.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t integer() noexcept;
  /// Returns a number in [-1, 1), a multiple of 2^-23.
  float unit() noexcept {
    return static_cast<float>(static_cast<std::int64_t>(integer() >> 40) - (1 << 23)) * 0x1p-23F;
  }
  float operator()(float magnitude) noexcept { return magnitude * unit(); }
  template <typename Matrix>
  void fill(Matrix&& matrix, float magnitude) {
    for (Eigen::Index c = 0; c < matrix.cols(); ++c) {
      for (Eigen::Index r = 0; r < matrix.rows(); ++r) matrix(r, c) = (*this)(magnitude);
    }
  }

 private:
  std::uint64_t state_;
};

/// Everything that a host writes, but for the inertias. Coordinates in the order of the interface: root linear, root
/// angular, joints; of q the root's are a position and the angles about x, y and z.
struct State {
  /// All zero.
  explicit State(const RobotSize& size);

  Eigen::VectorXf q, dq, ddq;
  Eigen::Matrix<float, 6, Eigen::Dynamic> wrenches;  ///< by body: force, then moment

  QZ::Math::Transform root_pose() const;
  QZ::Math::Velocity6D root_velocity() const;
  QZ::Math::Velocity6D root_acceleration() const;
  std::vector<float> wrench(unsigned long b) const;
};

/// A lively motion: joints anywhere within half a turn, some radians per second, wrenches of some newtons.
State random_state(std::uint64_t seed, const RobotSize& size);

/// The pose of the root in that state, of whatever robot.
QZ::Math::Transform random_pose(std::uint64_t seed);

void write(const State& state, tesk::RigidBodySystem& robot);

/// Writes the state and runs every computation.
void compute(const State& state, tesk::RigidBodySystem& robot);

/// All that an object shows after each of these states.
std::vector<float> everything_after_each(const std::vector<State>& states, tesk::RigidBodySystem& robot);

}  // namespace korvel
