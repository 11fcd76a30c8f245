/// Orocos KDL. It knows chains and trees on a fixed base, so the root rests.
///
/// Kinematics: its solver for trees walks from each body back to the root, so the bodies are placed in one sweep over
/// its segments instead. Mass matrix and inverse dynamics: it has no mass matrix for trees, and its inverse dynamics
/// for trees keeps everything in maps by name. With the root at rest each limb is a chain of its own, so its solvers
/// for chains do both, five times. That is less than the module does: nothing is computed for the root, and no
/// coupling.

#include <kdl/chain.hpp>
#include <kdl/chaindynparam.hpp>
#include <kdl/chainidsolver_recursive_newton_euler.hpp>
#include <stdexcept>

#include "bench/peer.h"
#include "bench/robot.h"

namespace korvel::bench {

namespace {

const KDL::Vector gravity_world(0, 0, -gravity);

KDL::Vector toKdl(const Eigen::Vector3d& v) { return {v.x(), v.y(), v.z()}; }

KDL::Frame toKdl(const Eigen::Matrix3d& R, const Eigen::Vector3d& p) {
  return {KDL::Rotation(toKdl(R.col(0)), toKdl(R.col(1)), toKdl(R.col(2))), toKdl(p)};
}

KDL::Segment segment(const Body& body) {
  const KDL::Frame X_PB = toKdl(body.R_PB, body.p_PB);
  const KDL::Joint joint(body.name, X_PB.p, X_PB.M.UnitZ(), KDL::Joint::RotAxis);
  return KDL::Segment(body.name, joint, X_PB, KDL::RigidBodyInertia(body.mass, toKdl(body.com_body)));
}

/// The values of some consecutive joints.
KDL::JntArray slice(const Eigen::ArrayXf& values, Eigen::Index first, Eigen::Index count) {
  KDL::JntArray array;
  array.data = values.segment(first, count).matrix().cast<double>();
  return array;
}

/// The bodies from a child of the root to the end of the limb. Solvers refer to the chain: it stays where it is.
class Limb {
 public:
  explicit Limb(std::size_t first_joint) : first_joint_(static_cast<Eigen::Index>(first_joint)) {}

  void add(const Body& body) { chain_.addSegment(segment(body)); }

  void prepare(const States& states) {
    for (const State& state : states) {
      inputs_.push_back({slice(state.joint_pos, first_joint_, joint_count()),
                         slice(state.joint_vel, first_joint_, joint_count()),
                         slice(state.joint_acc, first_joint_, joint_count())});
    }
    mass_solver_ = std::make_unique<KDL::ChainDynParam>(chain_, gravity_world);
    dynamics_solver_ = std::make_unique<KDL::ChainIdSolver_RNE>(chain_, gravity_world);
    no_wrenches_.resize(chain_.getNrOfSegments(), KDL::Wrench::Zero());
    mass_.resize(chain_.getNrOfJoints());
    torques_.resize(chain_.getNrOfJoints());
  }

  void computeMass(std::size_t state) { require(mass_solver_->JntToMass(inputs_[state].q, mass_)); }
  void computeDynamics(std::size_t state) {
    const auto& [q, dq, ddq] = inputs_[state];
    require(dynamics_solver_->CartToJnt(q, dq, ddq, no_wrenches_, torques_));
  }

  Eigen::Index first_joint() const { return first_joint_; }
  Eigen::Index joint_count() const { return static_cast<Eigen::Index>(chain_.getNrOfJoints()); }
  const Eigen::MatrixXd& mass() const { return mass_.data; }
  const Eigen::VectorXd& torques() const { return torques_.data; }

 private:
  struct Input {
    KDL::JntArray q, dq, ddq;
  };

  static void require(int status) {
    if (status < 0) throw std::runtime_error("KDL: a solver failed");
  }

  Eigen::Index first_joint_;
  KDL::Chain chain_;
  std::vector<Input> inputs_;
  std::unique_ptr<KDL::ChainDynParam> mass_solver_;
  std::unique_ptr<KDL::ChainIdSolver_RNE> dynamics_solver_;
  std::vector<KDL::Wrench> no_wrenches_;
  KDL::JntSpaceInertiaMatrix mass_;
  KDL::JntArray torques_;
};

class KdlPeer final : public Peer {
 public:
  explicit KdlPeer(const States& states) : frames_(robot().size()) {
    for (const State& state : states) {
      const Pose root = toMatrix(state.root.pose);
      roots_.push_back(toKdl(root.leftCols<3>(), root.col(3)));
      angles_.push_back(state.joint_pos.matrix().cast<double>());
    }
    for (std::size_t b = 1; b < robot().size(); ++b) {
      const Body& body = robot()[b];
      segments_.push_back(segment(body));
      parents_.push_back(static_cast<std::size_t>(body.parent));
      if (body.parent == 0) limbs_.push_back(std::make_unique<Limb>(b - 1));
      if (body.parent != 0 && parents_.back() != b - 1) throw std::runtime_error("KDL: a limb is no chain");
      limbs_.back()->add(body);
    }
    for (const auto& limb : limbs_) limb->prepare(states);
  }

  void computeKinematics(std::size_t state) override {
    frames_[0] = roots_[state];
    const double* q = angles_[state].data();
    for (std::size_t j = 0; j < segments_.size(); ++j) frames_[j + 1] = frames_[parents_[j]] * segments_[j].pose(q[j]);
  }

  void computeMass(std::size_t state) override {
    for (const auto& limb : limbs_) limb->computeMass(state);
  }

  void computeDynamics(std::size_t state) override {
    for (const auto& limb : limbs_) limb->computeDynamics(state);
  }

  std::vector<Pose> poses() const override {
    std::vector<Pose> poses(frames_.size());
    for (std::size_t b = 0; b < frames_.size(); ++b) {
      for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 4; ++k) poses[b](i, k) = frames_[b](i, k);
      }
    }
    return poses;
  }

  Eigen::MatrixXd mass() const override {
    const auto joints = static_cast<Eigen::Index>(segments_.size());
    Eigen::MatrixXd mass = Eigen::MatrixXd::Zero(joints, joints);
    for (const auto& limb : limbs_) {
      mass.block(limb->first_joint(), limb->first_joint(), limb->joint_count(), limb->joint_count()) = limb->mass();
    }
    return mass;
  }

  Eigen::VectorXd torques() const override {
    Eigen::VectorXd torques(static_cast<Eigen::Index>(segments_.size()));
    for (const auto& limb : limbs_) torques.segment(limb->first_joint(), limb->joint_count()) = limb->torques();
    return torques;
  }

 private:
  std::vector<KDL::Frame> roots_;
  std::vector<Eigen::VectorXd> angles_;
  std::vector<KDL::Segment> segments_;  ///< of all bodies but the root
  std::vector<std::size_t> parents_;    ///< by segment
  std::vector<std::unique_ptr<Limb>> limbs_;
  std::vector<KDL::Frame> frames_;  ///< by body
};

const PeerRegistration registration(
    {"KDL", "on a fixed base: poses in a sweep over its segments, else its solvers for chains, limb by limb; no root",
     Root::resting, [](const States& states) { return std::make_unique<KdlPeer>(states); }});

}  // namespace

}  // namespace korvel::bench
