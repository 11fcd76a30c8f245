/// DART: a skeleton on a free joint. It computes what is asked and what has changed since, so each item is a matter of
/// setting the coordinates and asking. Joint by joint that is faster than by the skeleton's vectors. The skeleton has
/// its joints in an order of its own.

#include <dart/dynamics/FreeJoint.hpp>
#include <dart/dynamics/RevoluteJoint.hpp>
#include <dart/dynamics/Skeleton.hpp>
#include <dart/utils/urdf/DartLoader.hpp>
#include <stdexcept>

#include "bench/peers/peer.h"
#include "contact/wrench.h"
#include "metapod/models/korvel/robot.h"

namespace korvel::bench {

namespace {

using dart::dynamics::BodyNode;
using dart::dynamics::FreeJoint;
using dart::dynamics::RevoluteJoint;
using dart::dynamics::SkeletonPtr;

/// Coordinates of DART: the root's six have the angular part first.
struct Input {
  using Root = Eigen::Matrix<double, 6, 1>;

  explicit Input(const LoadedInstant& state)
      : velocity(angular_first(state.root.velocity)),
        acceleration(angular_first(state.root.acceleration)),
        q(state.joint_pos.cast<double>()),
        dq(state.joint_vel.cast<double>()),
        ddq(state.joint_acc.cast<double>()) {
    wrenches = to_vectors(state.wrenches);
    Eigen::Isometry3d pose = Eigen::Isometry3d::Identity();
    pose.affine() = to_matrix(state.root.pose);
    position = FreeJoint::convertToPositions(pose);
  }

  static Root angular_first(const QZ::Math::Velocity6D& v) {
    return (Eigen::Matrix<float, 6, 1>() << v.wx, v.wy, v.wz, v.x, v.y, v.z).finished().cast<double>();
  }

  Root position, velocity, acceleration;
  Eigen::ArrayXd q, dq, ddq;
  /// Force and moment in the body's frame.
  std::array<Eigen::Matrix<double, 6, 1>, feet.size()> wrenches;
};

SkeletonPtr read_skeleton(const std::filesystem::path& urdf) {
  return dart::utils::DartLoader().parseSkeleton(std::filesystem::absolute(urdf).string());
}

class DartPeer final : public Peer {
 public:
  DartPeer(const LoadedInstants& states, SkeletonPtr skeleton) : skeleton_(std::move(skeleton)) {
    if (skeleton_ == nullptr) throw std::runtime_error("DART: no skeleton");
    skeleton_->setGravity({0, 0, -contact::gravity});
    for (const auto& body : metapod::models::KorvelRobot::bodies) {
      BodyNode* node = skeleton_->getBodyNode(body.name);
      if (node == nullptr) throw std::runtime_error(std::string("DART: no body named ") + body.name);
      bodies_.push_back(node);
      if (body.parent < 0) {
        root_ = joint_of<FreeJoint>(*node);
        // DART has the angular part first.
        for (const std::size_t d : {3U, 4U, 5U, 0U, 1U, 2U}) coordinates_.push_back(root_->getIndexInSkeleton(d));
      } else {
        joints_.push_back(joint_of<RevoluteJoint>(*node));
        coordinates_.push_back(joints_.back()->getIndexInSkeleton(0));
      }
    }
    for (const LoadedInstant& state : states) inputs_.emplace_back(state);
  }

  void set_root_and_wrenches(std::size_t state) override {
    const Input& input = inputs_[state];
    root_->setPositionsStatic(input.position);
    root_->setVelocitiesStatic(input.velocity);
    root_->setAccelerationsStatic(input.acceleration);
    for (std::size_t i = 0; i < feet.size(); ++i) {
      bodies_[feet[i]]->setExtForce(input.wrenches[i].head<3>(), Eigen::Vector3d::Zero(), true, true);
      bodies_[feet[i]]->setExtTorque(input.wrenches[i].tail<3>(), true);
    }
  }

  void compute_kinematics(std::size_t state) override {
    setPositions(inputs_[state]);
    com_ = skeleton_->getCOM();
    // A transform that is asked for brings those of its ancestors up to date.
    const Eigen::Vector3d p_root = bodies_[0]->getWorldTransform().translation();
    for (std::size_t j = 0; j < joints_.size(); ++j) {
      const Eigen::Isometry3d& pose = bodies_[j + 1]->getWorldTransform();
      const Eigen::Vector3d axis = pose.linear().col(2);
      columns_.col(static_cast<Eigen::Index>(j)) << axis, axis.cross(p_root - pose.translation());
    }
  }

  void compute_mass(std::size_t state) override {
    setPositions(inputs_[state]);
    skeleton_->getMassMatrix();
  }

  void compute_forward_dynamics(std::size_t state) override {
    const Input& input = inputs_[state];
    setPositions(input);
    for (std::size_t j = 0; j < joints_.size(); ++j) {
      joints_[j]->setVelocitiesStatic(input.dq.segment<1>(static_cast<Eigen::Index>(j)).matrix());
    }
    skeleton_->computeForwardDynamics();
  }

  void compute_dynamics(std::size_t state) override {
    const Input& input = inputs_[state];
    setPositions(input);
    for (std::size_t j = 0; j < joints_.size(); ++j) {
      joints_[j]->setVelocitiesStatic(input.dq.segment<1>(static_cast<Eigen::Index>(j)).matrix());
      joints_[j]->setAccelerationsStatic(input.ddq.segment<1>(static_cast<Eigen::Index>(j)).matrix());
    }
    skeleton_->computeInverseDynamics(true);
  }

  std::vector<Pose> poses() const override {
    std::vector<Pose> poses;
    for (const BodyNode* body : bodies_) poses.push_back(body->getWorldTransform().affine());
    return poses;
  }

  Eigen::Vector3d com() const override { return com_; }

  Eigen::MatrixXd jacobian() const override {
    const Pose root = poses()[0];
    return jacobian_in_root(root, columns_, root.col(3));
  }

  std::vector<double> masses() const override {
    std::vector<double> masses;
    for (const BodyNode* body : bodies_) masses.push_back(body->getMass());
    return masses;
  }

  Eigen::MatrixXd mass() const override { return skeleton_->getMassMatrix()(coordinates_, coordinates_); }

  Eigen::VectorXd torques() const override {
    return skeleton_->getForces()(coordinates_).tail(static_cast<Eigen::Index>(joints_.size()));
  }

 private:
  template <typename Joint>
  static Joint* joint_of(BodyNode& body) {
    const auto joint = dynamic_cast<Joint*>(body.getParentJoint());
    if (joint == nullptr) throw std::runtime_error("DART: another joint than expected carries " + body.getName());
    return joint;
  }

  void setPositions(const Input& input) {
    for (std::size_t j = 0; j < joints_.size(); ++j) {
      joints_[j]->setPositionsStatic(input.q.segment<1>(static_cast<Eigen::Index>(j)).matrix());
    }
  }

  SkeletonPtr skeleton_;
  std::vector<std::size_t> coordinates_;  ///< of the skeleton, in the module's order
  FreeJoint* root_ = nullptr;
  std::vector<RevoluteJoint*> joints_;
  std::vector<BodyNode*> bodies_;
  std::vector<Input> inputs_;
  Eigen::Vector3d com_ = Eigen::Vector3d::Zero();
  /// Columns of the jacobian, in world axes, with the point at the root's origin.
  Eigen::MatrixXd columns_ = Eigen::MatrixXd::Zero(6, static_cast<Eigen::Index>(joint_count));
};

const PeerRegistration registration({"DART",
                                     DART_VERSION,
                                     "a skeleton on a free joint, set joint by joint",
                                     false,
                                     {"urdf"},
                                     [](const LoadedInstants& states, const auto& file) {
                                       return std::make_unique<DartPeer>(states, read_skeleton(file));
                                     }});

}  // namespace

}  // namespace korvel::bench
