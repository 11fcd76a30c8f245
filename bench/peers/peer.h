#pragma once

#include <Eigen/Core>
#include <array>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/instants.h"

namespace korvel::bench {

/// Something that computes for the same robot what the module computes. It holds its own inputs, made from the states
/// when it is built; a computation is given the number of a state, hands its joints to the library in the fastest way
/// that the library has, and computes. What the other inputs and the answers cost is not measured.
class Peer {
 public:
  using Pose = Eigen::Matrix<double, 3, 4>;

  virtual ~Peer() = default;

  /// The root's pose and rates and the wrenches on the feet, which stay until they are set again.
  virtual void set_root_and_wrenches(std::size_t state) = 0;

  /// From the joint angles: the world poses of all bodies, the robot's centre of mass, the jacobian of the joints.
  virtual void compute_kinematics(std::size_t state) = 0;
  /// From the joint angles, whatever kinematics it takes: the dense mass matrix.
  virtual void compute_mass(std::size_t state) = 0;
  /// From joint angles, velocities and accelerations: the joint torques.
  virtual void compute_dynamics(std::size_t state) = 0;

  virtual std::vector<Pose> poses() const = 0;
  virtual Eigen::Vector3d com() const = 0;
  /// 6 x joints, in the module's form: root axes, angular rows first, the point at the root's origin.
  virtual Eigen::MatrixXd jacobian() const = 0;
  /// Of each body [kg].
  virtual std::vector<double> masses() const = 0;
  /// In the module's coordinates.
  virtual Eigen::MatrixXd mass() const = 0;
  virtual Eigen::VectorXd torques() const = 0;

 protected:
  Peer() = default;
  Peer(const Peer&) = default;
  Peer& operator=(const Peer&) = default;
};

struct PeerEntry {
  using FromFile = std::function<std::unique_ptr<Peer>(const LoadedInstants&, const std::filesystem::path&)>;

  std::string name;
  std::string version;
  std::string note;  ///< how it is used, in one line
  std::function<std::unique_ptr<Peer>(const LoadedInstants&)> make;
  std::map<std::string, FromFile> read;  ///< by the format of the file: urdf, mjcf
};

/// The peers that this program was built with.
std::vector<PeerEntry>& peers();

/// A static object of this type adds a peer.
struct PeerRegistration {
  explicit PeerRegistration(PeerEntry entry) { peers().push_back(std::move(entry)); }
};

/// The wrenches on the feet in double precision.
std::array<Eigen::Matrix<double, 6, 1>, 2> to_vectors(const std::array<std::vector<float>, 2>& wrenches);

/// A pose in double precision.
Peer::Pose to_matrix(const QZ::Math::Transform& pose);

/// Jacobian columns in the module's form from those of a point in the world: `columns` are angular and linear rows in
/// world axes.
Eigen::MatrixXd jacobian_in_root(const Peer::Pose& root, const Eigen::MatrixXd& columns, const Eigen::Vector3d& point);

}  // namespace korvel::bench
