#pragma once

#include <Eigen/Core>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/states.h"

namespace korvel::bench {

/// Something that computes for the same robot what the module computes. It holds its own inputs, made from the states
/// when it is built; a computation is given the number of a state, hands those inputs to the library in the fastest
/// way that the library has, and computes. What the answers below cost is not measured.
class Peer {
 public:
  using Pose = Eigen::Matrix<double, 3, 4>;

  virtual ~Peer() = default;

  virtual void computeKinematics(std::size_t state) = 0;
  /// Starts from the joint angles: whatever kinematics the mass matrix needs is part of it.
  virtual void computeMass(std::size_t state) = 0;
  virtual void computeDynamics(std::size_t state) = 0;

  /// World poses of all bodies, after computeKinematics.
  virtual std::vector<Pose> poses() const = 0;
  /// After computeMass, in the module's coordinates; of a peer whose root is fixed only the joints' part.
  virtual Eigen::MatrixXd mass() const = 0;
  /// Joint torques, after computeDynamics.
  virtual Eigen::VectorXd torques() const = 0;

 protected:
  Peer() = default;
  Peer(const Peer&) = default;
  Peer& operator=(const Peer&) = default;
};

struct PeerEntry {
  std::string name;
  std::string note;  ///< how it is used, in one line
  Root root;         ///< how the root moves in the states that the peer can do
  std::function<std::unique_ptr<Peer>(const States&)> make;
};

/// The peers that this program was built with.
std::vector<PeerEntry>& peers();

/// A static object of this type adds a peer.
struct PeerRegistration {
  explicit PeerRegistration(PeerEntry entry) { peers().push_back(std::move(entry)); }
};

/// A root pose in double precision.
Peer::Pose toMatrix(const QZ::Math::Transform& pose);

}  // namespace korvel::bench
