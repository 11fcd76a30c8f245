#pragma once

#include <Eigen/Core>
#include <array>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/jobs.h"
#include "host/robot/module.h"

namespace korvel::bench {

/// The numbers of a state that are compared, with the scales of their deviations. Poses are 3 x 4 bodies in the world;
/// the jacobian is 6 x joints in root axes, angular rows first, with the point at the root's origin; the mass matrix is
/// in the module's coordinates.
enum Quantity : std::size_t {
  masses,    ///< the body's mass
  poses,     ///< one metre, and one for rotations
  com,       ///< one metre
  jacobian,  ///< one
  mass,      ///< the root of the product of the largest values of the two diagonal entries
  torques,   ///< the largest torque of the state
  quantity_count
};
inline constexpr const char* quantity_names[] = {"masses",   "poses",       "centre of mass",
                                                 "jacobian", "mass matrix", "torques"};
using Quantities = std::array<Eigen::MatrixXd, quantity_count>;

/// Something that computes for the same robot what the module computes. It holds its own inputs of joints, made from
/// the states when it is built; a computation is given the number of a state, hands its joints to the library in the
/// fastest way that the library has, and computes. What the other inputs and the answers cost is not measured.
class Peer {
 public:
  virtual ~Peer() = default;

  /// The root's pose and rates and the wrenches on the feet, which stay until they are set again.
  virtual void set_root_and_wrenches(std::size_t state) = 0;

  /// Computes from the joint angles the world poses of all bodies, the robot's centre of mass and the jacobian of the
  /// joints.
  virtual void compute_kinematics(std::size_t state) = 0;
  /// Computes from the joint angles, kinematics included, the dense mass matrix.
  virtual void compute_mass(std::size_t state) = 0;
  /// Computes the joint torques from joint angles, velocities and accelerations.
  virtual void compute_dynamics(std::size_t state) = 0;
  /// Computes the accelerations from joint angles and velocities, for joint torques of zero. The module has no such
  /// operation.
  virtual void compute_forward_dynamics(std::size_t) {}
  /// Derivatives of the dynamics by all positions and velocities.
  virtual void compute_derivatives(std::size_t) {}

  /// Returns what kinematics, mass matrix and dynamics have computed.
  virtual Quantities quantities() const = 0;
};

struct PeerEntry {
  std::string version;
  std::string note;                  ///< how it is used, in one line
  bool has_derivatives;              ///< of the dynamics
  std::vector<std::string> formats;  ///< of the files that it reads: urdf, mjcf; the first is the one that is timed
  std::function<std::unique_ptr<Peer>(const LoadedInstants&, const std::filesystem::path&)> read;
};

/// The robot as a file, exported when this program was built.
std::filesystem::path exported_robot(const std::string& format);

/// Returns the peers that this program was built with, by their names. A static object of each adds itself.
std::map<std::string, PeerEntry>& peers();

/// Returns the module as the others see it. It is the reference for their numbers.
std::unique_ptr<Peer> module_peer(const host::Module& module, const LoadedInstants& states);

/// Returns the peer's largest deviation from the reference in all states, relative to the scale of each quantity. It is
/// infinite if a number is NaN or missing.
std::array<double, quantity_count> compare(Peer& peer, Peer& reference, std::size_t state_count);

/// Throws std::runtime_error unless both agree in every state to a ten-thousandth.
void require_agreement(const std::string& name, Peer& peer, Peer& reference, std::size_t state_count);

/// Returns a wrench in double precision.
Eigen::Matrix<double, 6, 1> to_vector(const std::vector<float>& wrench);

/// Jacobian columns in the module's form from those of a point in the world: `columns` are angular and linear rows in
/// world axes, and the first of `poses` is the root's.
Eigen::MatrixXd jacobian_in_root(const Eigen::MatrixXd& poses, const Eigen::MatrixXd& columns,
                                 const Eigen::Vector3d& point);

}  // namespace korvel::bench
