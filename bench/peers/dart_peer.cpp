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
#include "host/robot/frames.h"
#include "metapod/models/korvel/robot.h"

namespace korvel::bench {

namespace {

using dart::dynamics::BodyNode;
using dart::dynamics::FreeJoint;
using dart::dynamics::RevoluteJoint;
using dart::dynamics::SkeletonPtr;

/// DART has the angular part first.
Eigen::Matrix<double, 6, 1> angular_first(const QZ::Math::Velocity6D& v) {
  return (Eigen::Matrix<float, 6, 1>() << v.wx, v.wy, v.wz, v.x, v.y, v.z).finished().cast<double>();
}

struct Joints {
  Eigen::ArrayXd q, dq, ddq;
};

class DartPeer final : public Peer {
 public:
  DartPeer(const LoadedInstants& states, SkeletonPtr skeleton) : states_(states), skeleton_(std::move(skeleton)) {
    if (skeleton_ == nullptr) throw std::runtime_error("DART: no skeleton");
    skeleton_->setGravity({0, 0, -contact::gravity});
    for (const auto& body : metapod::models::KorvelRobot::bodies) {
      BodyNode* node = skeleton_->getBodyNode(body.name);
      if (node == nullptr) throw std::runtime_error(std::string("DART: no body named ") + body.name);
      bodies_.push_back(node);
      if (body.parent < 0) {
        root_ = joint_of<FreeJoint>(*node);
        for (const std::size_t d : {3U, 4U, 5U, 0U, 1U, 2U}) coordinates_.push_back(root_->getIndexInSkeleton(d));
      } else {
        joints_.push_back(joint_of<RevoluteJoint>(*node));
        coordinates_.push_back(joints_.back()->getIndexInSkeleton(0));
      }
    }
    for (const LoadedInstant& state : states) {
      inputs_.push_back(
          {state.joint_pos.cast<double>(), state.joint_vel.cast<double>(), state.joint_acc.cast<double>()});
    }
  }

  void set_root_and_wrenches(std::size_t state) override {
    const host::RootMotion& root = states_[state].root;
    root_->setPositionsStatic(FreeJoint::convertToPositions(host::isometry(root.pose)));
    root_->setVelocitiesStatic(angular_first(root.velocity));
    root_->setAccelerationsStatic(angular_first(root.acceleration));
    for (std::size_t i = 0; i < feet.size(); ++i) {
      const Eigen::Matrix<double, 6, 1> wrench = to_vector(states_[state].wrenches[i]);
      bodies_[feet[i]]->setExtForce(wrench.head<3>(), Eigen::Vector3d::Zero(), true, true);
      bodies_[feet[i]]->setExtTorque(wrench.tail<3>(), true);
    }
  }

  void compute_kinematics(std::size_t state) override {
    set(&RevoluteJoint::setPositionsStatic, inputs_[state].q);
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
    set(&RevoluteJoint::setPositionsStatic, inputs_[state].q);
    skeleton_->getMassMatrix();
  }

  void compute_forward_dynamics(std::size_t state) override {
    set(&RevoluteJoint::setPositionsStatic, inputs_[state].q);
    set(&RevoluteJoint::setVelocitiesStatic, inputs_[state].dq);
    skeleton_->computeForwardDynamics();
  }

  void compute_dynamics(std::size_t state) override {
    set(&RevoluteJoint::setPositionsStatic, inputs_[state].q);
    set(&RevoluteJoint::setVelocitiesStatic, inputs_[state].dq);
    set(&RevoluteJoint::setAccelerationsStatic, inputs_[state].ddq);
    skeleton_->computeInverseDynamics(true);
  }

  Quantities quantities() const override {
    const auto bodies = static_cast<Eigen::Index>(bodies_.size());
    Eigen::VectorXd body_masses(bodies);
    Eigen::MatrixXd body_poses(3, 4 * bodies);
    for (Eigen::Index b = 0; b < bodies; ++b) {
      const BodyNode& body = *bodies_[static_cast<std::size_t>(b)];
      body_masses[b] = body.getMass();
      body_poses.middleCols<4>(4 * b) = body.getWorldTransform().affine();
    }
    return {body_masses,
            body_poses,
            com_,
            jacobian_in_root(body_poses, columns_, body_poses.col(3)),
            skeleton_->getMassMatrix()(coordinates_, coordinates_),
            skeleton_->getForces()(coordinates_).tail(bodies - 1)};
  }

 private:
  template <typename Joint>
  static Joint* joint_of(BodyNode& body) {
    const auto joint = dynamic_cast<Joint*>(body.getParentJoint());
    if (joint == nullptr) throw std::runtime_error("DART: another joint than expected carries " + body.getName());
    return joint;
  }

  void set(void (RevoluteJoint::*set_coordinate)(const Eigen::Matrix<double, 1, 1>&), const Eigen::ArrayXd& values) {
    for (std::size_t j = 0; j < joints_.size(); ++j) {
      (joints_[j]->*set_coordinate)(values.segment<1>(static_cast<Eigen::Index>(j)).matrix());
    }
  }

  const LoadedInstants& states_;
  SkeletonPtr skeleton_;
  std::vector<std::size_t> coordinates_;  ///< of the skeleton, in the module's order
  FreeJoint* root_ = nullptr;
  std::vector<RevoluteJoint*> joints_;
  std::vector<BodyNode*> bodies_;
  std::vector<Joints> inputs_;
  Eigen::Vector3d com_ = Eigen::Vector3d::Zero();
  /// Columns of the jacobian, in world axes, with the point at the root's origin.
  Eigen::MatrixXd columns_ = Eigen::MatrixXd::Zero(6, static_cast<Eigen::Index>(joint_count));
};

const bool dart_is_registered =
    peers()
        .try_emplace("DART", PeerEntry{DART_VERSION,
                                       "a skeleton on a free joint, set joint by joint",
                                       false,
                                       {"urdf"},
                                       [](const LoadedInstants& states, const auto& file) {
                                         const std::string path = std::filesystem::absolute(file).string();
                                         return std::make_unique<DartPeer>(
                                             states, dart::utils::DartLoader().parseSkeleton(path));
                                       }})
        .second;

}  // namespace

}  // namespace korvel::bench
