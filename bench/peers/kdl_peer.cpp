/// Orocos KDL. It knows fixed bases only: the root hangs on three prismatic and three revolute joints, whose
/// coordinates are x, y, z, yaw, pitch, roll.
///
/// Kinematics: its solver for trees walks from each body back to the root and places nothing but bodies; so the bodies
/// are placed in one sweep over its segments, and centre of mass and jacobian are taken from its frames. Mass matrix:
/// it has one for chains only, so each limb is a chain of its own, with the root's joints in front. Inverse dynamics:
/// its solver for trees.

#include <kdl/config.h>

#include <Eigen/LU>
#include <kdl/chain.hpp>
#include <kdl/chaindynparam.hpp>
#include <kdl/tree.hpp>
#include <kdl/treeidsolver_recursive_newton_euler.hpp>
#include <kdl_parser/kdl_parser.hpp>
#include <stdexcept>

#include "bench/peers/peer.h"
#include "bench/robot.h"

namespace korvel::bench {

namespace {

constexpr Eigen::Index root_joints = 6;
constexpr const char* base = "base";
const KDL::Vector gravity_world(0, 0, -gravity);

KDL::Vector to_kdl(const Eigen::Vector3d& v) { return {v.x(), v.y(), v.z()}; }

KDL::Frame to_kdl(const Eigen::Matrix3d& R, const Eigen::Vector3d& p) {
  return {KDL::Rotation(to_kdl(R.col(0)), to_kdl(R.col(1)), to_kdl(R.col(2))), to_kdl(p)};
}

Peer::Pose to_pose(const KDL::Frame& frame) {
  Peer::Pose pose;
  for (int i = 0; i < 3; ++i) {
    for (int k = 0; k < 4; ++k) pose(i, k) = frame(i, k);
  }
  return pose;
}

KDL::RigidBodyInertia inertia(const Body& body) { return KDL::RigidBodyInertia(body.mass, to_kdl(body.com_body)); }

KDL::Segment segment(const Body& body) {
  const KDL::Frame X_PB = to_kdl(body.R_PB, body.p_PB);
  const KDL::Joint joint(body.name, X_PB.p, X_PB.M.UnitZ(), KDL::Joint::RotAxis);
  return KDL::Segment(body.name, joint, X_PB, inertia(body));
}

/// All bodies, the root too.
std::vector<KDL::Segment> build_segments() {
  std::vector<KDL::Segment> segments;
  for (const Body& body : robot()) segments.push_back(segment(body));
  return segments;
}

/// The same from a file. KDL has the root's joint there as a fixed one.
std::vector<KDL::Segment> read_segments(const std::filesystem::path& urdf) {
  KDL::Tree tree;
  if (!kdl_parser::treeFromFile(urdf.string(), tree)) throw std::runtime_error("KDL: cannot read " + urdf.string());
  std::vector<KDL::Segment> segments;
  for (const Body& body : robot()) {
    const auto found = tree.getSegment(body.name);
    const bool is_root = body.parent < 0;
    if (found == tree.getSegments().end() ||
        (!is_root && found->second.parent->first != robot()[static_cast<std::size_t>(body.parent)].name)) {
      throw std::runtime_error(std::string("KDL: not where it belongs: ") + body.name);
    }
    segments.push_back(found->second.segment);
  }
  return segments;
}

/// The root's joints, the last of which moves the root.
std::vector<KDL::Segment> root_segments(const KDL::RigidBodyInertia& root) {
  using KDL::Joint;
  std::vector<KDL::Segment> segments;
  const auto add = [&](const char* name, Joint::JointType type, const KDL::RigidBodyInertia& moved) {
    segments.emplace_back(name, Joint(name, type), KDL::Frame::Identity(), moved);
  };
  const KDL::RigidBodyInertia nothing = KDL::RigidBodyInertia::Zero();
  add("x", Joint::TransX, nothing);
  add("y", Joint::TransY, nothing);
  add("z", Joint::TransZ, nothing);
  add("yaw", Joint::RotZ, nothing);
  add("pitch", Joint::RotY, nothing);
  add(robot()[0].name, Joint::RotX, root);
  return segments;
}

void require(int status) {
  if (status < 0) throw std::runtime_error("KDL: a solver failed");
}

/// All coordinates, root first.
struct Input {
  explicit Input(const LoadedInstant& state)
      : root(to_kdl(to_matrix(state.root.pose).leftCols<3>(), to_matrix(state.root.pose).col(3))),
        q(joined(state.root_q, state.joint_pos)),
        dq(joined(state.root_dq, state.joint_vel)),
        ddq(joined(state.root_ddq, state.joint_acc)) {
    const auto on_feet = to_vectors(state.wrenches);
    for (std::size_t i = 0; i < feet.size(); ++i) {
      wrenches[robot()[feet[i]].name] = {to_kdl(on_feet[i].head<3>()), to_kdl(on_feet[i].tail<3>())};
    }
  }

  static KDL::JntArray joined(const Eigen::Matrix<double, 6, 1>& root, const Eigen::ArrayXf& joints) {
    KDL::JntArray all(static_cast<unsigned>(root_joints + joints.size()));
    all.data << root.head<3>(), root(5), root(4), root(3), joints.matrix().cast<double>();
    return all;
  }

  KDL::Frame root;
  KDL::JntArray q, dq, ddq;
  KDL::WrenchMap wrenches;
};

/// The root's joints, then the bodies from a child of the root to the end of the limb. The solver refers to the chain:
/// it stays where it is.
class Limb {
 public:
  Limb(std::size_t first_joint, const KDL::RigidBodyInertia& root)
      : first_joint_(root_joints + static_cast<Eigen::Index>(first_joint)) {
    for (const KDL::Segment& s : root_segments(root)) chain_.addSegment(s);
  }

  void add(const KDL::Segment& body) { chain_.addSegment(body); }

  void prepare() {
    solver_ = std::make_unique<KDL::ChainDynParam>(chain_, gravity_world);
    q_.resize(chain_.getNrOfJoints());
    mass_.resize(chain_.getNrOfJoints());
  }

  /// Adds the limb's part to the mass matrix of the robot.
  void add_mass(const KDL::JntArray& q, const Eigen::VectorXd& root, Eigen::MatrixXd& mass) {
    const Eigen::Index n = q_.data.size() - root_joints;
    q_.data << root, q.data.segment(first_joint_, n);
    require(solver_->JntToMass(q_, mass_));
    mass.topLeftCorner<root_joints, root_joints>() += mass_.data.topLeftCorner<root_joints, root_joints>();
    mass.block(first_joint_, first_joint_, n, n) = mass_.data.bottomRightCorner(n, n);
    mass.block(first_joint_, 0, n, root_joints) = mass_.data.bottomLeftCorner(n, root_joints);
    mass.block(0, first_joint_, root_joints, n) = mass_.data.topRightCorner(root_joints, n);
  }

 private:
  Eigen::Index first_joint_;  ///< as a coordinate
  KDL::Chain chain_;
  std::unique_ptr<KDL::ChainDynParam> solver_;
  KDL::JntArray q_;
  KDL::JntSpaceInertiaMatrix mass_;
};

class KdlPeer final : public Peer {
 public:
  KdlPeer(const LoadedInstants& states, const std::vector<KDL::Segment>& bodies) : tree_(base), frames_(bodies.size()) {
    for (const LoadedInstant& state : states) inputs_.emplace_back(state);
    std::string end = base;
    const auto add_to_tree = [&](const KDL::Segment& s, const std::string& parent) {
      if (!tree_.addSegment(s, parent)) throw std::runtime_error("KDL: no such parent");
      end = s.getName();
    };
    for (const KDL::Segment& s : root_segments(bodies[0].getInertia())) add_to_tree(s, end);
    for (std::size_t b = 1; b < bodies.size(); ++b) {
      const auto parent = static_cast<std::size_t>(robot()[b].parent);
      segments_.push_back(bodies[b]);
      parents_.push_back(parent);
      add_to_tree(segments_.back(), robot()[parent].name);
      if (parent == 0) {
        // Only one of the chains may carry the root's mass.
        const auto root = limbs_.empty() ? bodies[0].getInertia() : KDL::RigidBodyInertia::Zero();
        limbs_.push_back(std::make_unique<Limb>(b - 1, root));
      }
      if (parent != 0 && parent != b - 1) throw std::runtime_error("KDL: a limb is no chain");
      limbs_.back()->add(bodies[b]);
    }
    for (const auto& limb : limbs_) limb->prepare();
    for (const KDL::Segment& body : bodies) {
      masses_.push_back(body.getInertia().getMass());
      coms_body_.push_back(body.getInertia().getCOG());
      total_mass_ += masses_.back();
    }
    const auto coordinates = static_cast<Eigen::Index>(tree_.getNrOfJoints());
    columns_.resize(segments_.size());
    mass_.setZero(coordinates, coordinates);
    torques_.resize(tree_.getNrOfJoints());
    dynamics_solver_ = std::make_unique<KDL::TreeIdSolver_RNE>(tree_, gravity_world);
  }

  void set_root_and_wrenches(std::size_t state) override { root_ = &inputs_[state]; }

  void compute_kinematics(std::size_t state) override {
    const double* q = inputs_[state].q.data.data() + root_joints;
    frames_[0] = root_->root;
    KDL::Vector moment = masses_[0] * (frames_[0] * coms_body_[0]);
    for (std::size_t j = 0; j < segments_.size(); ++j) {
      const KDL::Frame& frame = frames_[j + 1] = frames_[parents_[j]] * segments_[j].pose(q[j]);
      moment += masses_[j + 1] * (frame * coms_body_[j + 1]);
      const KDL::Vector axis = frame.M.UnitZ();
      columns_[j] = KDL::Twist(axis * (frames_[0].p - frame.p), axis);
    }
    com_ = moment / total_mass_;
  }

  void compute_mass(std::size_t state) override {
    mass_.topLeftCorner<root_joints, root_joints>().setZero();
    const Eigen::VectorXd& root = root_->q.data;
    for (const auto& limb : limbs_) limb->add_mass(inputs_[state].q, root.head<root_joints>(), mass_);
  }

  void compute_dynamics(std::size_t state) override {
    Input& input = inputs_[state];
    const auto with_root = [](KDL::JntArray& values, const KDL::JntArray& root) -> KDL::JntArray& {
      values.data.head<root_joints>() = root.data.head<root_joints>();
      return values;
    };
    require(dynamics_solver_->CartToJnt(with_root(input.q, root_->q), with_root(input.dq, root_->dq),
                                        with_root(input.ddq, root_->ddq), root_->wrenches, torques_));
  }

  std::vector<Pose> poses() const override {
    std::vector<Pose> poses;
    for (const KDL::Frame& frame : frames_) poses.push_back(to_pose(frame));
    return poses;
  }

  Eigen::Vector3d com() const override { return {com_.x(), com_.y(), com_.z()}; }

  Eigen::MatrixXd jacobian() const override {
    Eigen::MatrixXd columns(6, static_cast<Eigen::Index>(columns_.size()));
    for (std::size_t j = 0; j < columns_.size(); ++j) {
      const KDL::Twist& t = columns_[j];
      columns.col(static_cast<Eigen::Index>(j)) << t.rot.x(), t.rot.y(), t.rot.z(), t.vel.x(), t.vel.y(), t.vel.z();
    }
    const Pose root = to_pose(frames_[0]);
    return jacobian_in_root(root, columns, root.col(3));
  }

  std::vector<double> masses() const override { return masses_; }

  /// The module has the root's velocities in root axes, KDL in the world and as rates of three angles.
  Eigen::MatrixXd mass() const override {
    const Eigen::VectorXd& q = root_->q.data;
    const double pitch = q(4);
    const double roll = q(5);
    Eigen::Matrix3d angular;            // angular velocity in root axes by rates of yaw, pitch, roll
    angular << -std::sin(pitch), 0, 1,  //
        std::cos(pitch) * std::sin(roll), std::cos(roll), 0,  //
        std::cos(pitch) * std::cos(roll), -std::sin(roll), 0;
    Eigen::MatrixXd T = Eigen::MatrixXd::Identity(mass_.rows(), mass_.cols());
    T.topLeftCorner<3, 3>() = to_pose(root_->root).leftCols<3>();
    T.block<3, 3>(3, 3) = angular.inverse();
    return T.transpose() * mass_ * T;
  }

  Eigen::VectorXd torques() const override { return torques_.data.tail(torques_.data.size() - root_joints); }

 private:
  KDL::Tree tree_;
  std::vector<Input> inputs_;
  const Input* root_ = nullptr;         ///< the inputs whose root and wrenches are in force
  std::vector<KDL::Segment> segments_;  ///< of all bodies but the root
  std::vector<std::size_t> parents_;    ///< by segment
  std::vector<double> masses_;          ///< by body
  std::vector<KDL::Vector> coms_body_;
  double total_mass_ = 0;
  std::vector<KDL::Frame> frames_;  ///< by body
  KDL::Vector com_;
  std::vector<KDL::Twist> columns_;  ///< of the jacobian, world axes, the point at the root's origin
  std::vector<std::unique_ptr<Limb>> limbs_;
  Eigen::MatrixXd mass_;
  std::unique_ptr<KDL::TreeIdSolver_RNE> dynamics_solver_;
  KDL::JntArray torques_;
};

const PeerRegistration registration(
    {"KDL",
     KDL_VERSION_STRING,
     "on six joints for the root: poses, centre of mass and jacobian in a sweep over its segments; mass matrix limb by "
     "limb; its inverse dynamics for trees",
     [](const LoadedInstants& states) { return std::make_unique<KdlPeer>(states, build_segments()); },
     {{"urdf", [](const LoadedInstants& states, const auto& file) {
         return std::make_unique<KdlPeer>(states, read_segments(file));
       }}}});

}  // namespace

}  // namespace korvel::bench
