#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <vector>

#include "plugin/rigid_body_system.h"

namespace korvel {

/// Uniform numbers with the same bits everywhere: whole-number arithmetic, scaled by powers of two.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t integer() noexcept;
  /// In [-1, 1), a multiple of 2^-23.
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
  Eigen::VectorXf q = Eigen::VectorXf::Zero(30);
  Eigen::VectorXf dq = Eigen::VectorXf::Zero(30);
  Eigen::VectorXf ddq = Eigen::VectorXf::Zero(30);
  Eigen::Matrix<float, 6, Eigen::Dynamic> wrenches = Eigen::MatrixXf::Zero(6, 25);  ///< force, then moment

  QZ::Math::Transform root_pose() const;
  QZ::Math::Velocity6D root_velocity() const;
  QZ::Math::Velocity6D root_acceleration() const;
  std::vector<float> wrench(unsigned long b) const;
};

/// A lively motion: joints anywhere within half a turn, some radians per second, wrenches of some newtons.
State random_state(std::uint64_t seed);

void write(const State& state, tesk::RigidBodySystem& robot);

/// Writes the state and runs every computation.
void compute(const State& state, tesk::RigidBodySystem& robot);

/// What an object shows, in the order of `Shown`.
std::vector<float> everything_readable(const tesk::RigidBodySystem& robot);
/// The same into a vector that may be used again and again.
void read_everything(const tesk::RigidBodySystem& robot, std::vector<float>& all);

/// Where things begin in it.
namespace Shown {
inline constexpr std::ptrdiff_t poses = 0, poses_in_root = 25 * 12, volatile_pose = 50 * 12, com = 51 * 12,
                                com_in_root = com + 3, jacobian = com + 6, mass_matrix = jacobian + 6 * 30,
                                torques = mass_matrix + 30 * 30, inputs = torques + 24, joints = inputs + 12,
                                end = joints + 3 * 24;
}  // namespace Shown

/// All that an object shows after each of these states.
std::vector<float> everything_after_each(const std::vector<State>& states, tesk::RigidBodySystem& robot);

/// Equal to the last bit, signs of zeros included.
bool same_bits(const std::vector<float>& a, const std::vector<float>& b);

}  // namespace korvel
