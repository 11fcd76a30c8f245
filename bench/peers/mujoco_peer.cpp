/// MuJoCo. Each item is the shortest sequence of its stages that gives it; its own function for inverse dynamics would
/// also look for contacts and factorize the mass matrix. Its stages in the centre of mass are those that give jacobian
/// columns too; its stage of inverse dynamics leaves external wrenches to its function for them.

#include <stdexcept>

#include "bench/peers/mujoco.h"
#include "bench/peers/peer.h"
#include "metapod/models/korvel/robot.h"

namespace korvel::bench {

namespace {

class MujocoPeer final : public Peer {
 public:
  MujocoPeer(const LoadedInstants& states, MujocoModel model)
      : model_(std::move(model)), states_(states), inputs_(states.begin(), states.end()) {
    int id = 0;  // of the world
    for (const auto& body : metapod::models::KorvelRobot::bodies) {
      if (mj_name2id(model_.get(), mjOBJ_BODY, body.name) == ++id) continue;
      throw std::runtime_error(std::string("MuJoCo: out of order: ") + body.name);
    }
  }

  void set_root_and_wrenches(std::size_t state) override {
    const MujocoState& input = inputs_[state];
    mju_copy(data_->qpos, input.q.data(), 7);
    mju_copy(data_->qvel, input.dq.data(), 6);
    mju_copy(data_->qacc, input.ddq.data(), 6);
    R_WR_ = input.R_WR;
    for (std::size_t i = 0; i < feet.size(); ++i) wrenches_[i] = to_vector(states_[state].wrenches[i]);
  }

  void compute_kinematics(std::size_t state) override {
    mju_copy(data_->qpos + 7, inputs_[state].q.data() + 7, model_->nq - 7);
    mj_kinematics(model_.get(), data_.get());
    mj_comPos(model_.get(), data_.get());
  }

  void compute_mass(std::size_t state) override {
    compute_kinematics(state);
    mj_crb(model_.get(), data_.get());
    mj_fullM(model_.get(), mass_.data(), data_->qM);
  }

  void compute_dynamics(std::size_t state) override {
    mju_copy(data_->qacc + 6, inputs_[state].ddq.data() + 6, model_->nv - 6);
    compute_kinematics(state);
    compute_forces(state, 1);
  }

  void compute_forward_dynamics(std::size_t state) override {
    compute_kinematics(state);
    mj_crb(model_.get(), data_.get());
    mj_factorM(model_.get(), data_.get());
    compute_forces(state, 0);
    forces_ = -forces_;
    mj_solveM(model_.get(), data_.get(), accelerations_.data(), forces_.data(), 1);
  }

  // MuJoCo differentiates the step of its simulation by differences.
  void compute_derivatives(std::size_t state) override {
    mju_copy(data_->qpos + 7, inputs_[state].q.data() + 7, model_->nq - 7);
    mju_copy(data_->qvel + 6, inputs_[state].dq.data() + 6, model_->nv - 6);
    constexpr double step = 1e-6;
    mjd_transitionFD(model_.get(), data_.get(), step, 0, transition_.data(), nullptr, nullptr, nullptr);
  }

  // Body 0 is the world, body 1 the root.
  Quantities quantities() const override {
    Eigen::MatrixXd body_poses(3, 4 * (model_->nbody - 1));
    for (int b = 1; b < model_->nbody; ++b) {
      body_poses.middleCols<4>(4 * (b - 1)) << rotation(b), Eigen::Vector3d(data_->xpos + 3 * b);
    }
    const Eigen::Vector3d root_com(data_->subtree_com + 3);
    const Eigen::Map<const Eigen::Matrix<double, 6, Eigen::Dynamic>> columns(data_->cdof + 36, 6, model_->nv - 6);
    // The module has the root's linear velocity in root axes.
    Eigen::MatrixXd T = Eigen::MatrixXd::Identity(model_->nv, model_->nv);
    T.topLeftCorner<3, 3>() = R_WR_;
    return {Eigen::Map<const Eigen::VectorXd>(model_->body_mass + 1, model_->nbody - 1),
            body_poses,
            root_com,
            jacobian_in_root(body_poses, columns, root_com),
            T.transpose() * mass_ * T,
            forces_.tail(model_->nv - 6)};
  }

 private:
  Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>> rotation(int body) const {
    return Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(data_->xmat + 9 * body);
  }

  /// Computes inverse dynamics, less the wrenches on the feet. Needs the kinematics.
  void compute_forces(std::size_t state, int with_accelerations) {
    mju_copy(data_->qvel + 6, inputs_[state].dq.data() + 6, model_->nv - 6);
    mj_comVel(model_.get(), data_.get());
    mj_rne(model_.get(), data_.get(), with_accelerations, forces_.data());
    for (std::size_t i = 0; i < feet.size(); ++i) {
      const auto& wrench = wrenches_[i];
      const int body = static_cast<int>(feet[i]) + 1;
      const Eigen::Matrix3d R_WB = rotation(body);
      subtract_wrench(*model_, *data_, body, R_WB * wrench.head<3>(), R_WB * wrench.tail<3>(), forces_);
    }
  }

  MujocoModel model_;
  MujocoData data_ = make_data(*model_);
  const LoadedInstants& states_;
  std::vector<MujocoState> inputs_;
  Eigen::VectorXd forces_ = Eigen::VectorXd::Zero(model_->nv);
  Eigen::VectorXd accelerations_ = Eigen::VectorXd::Zero(model_->nv);
  Eigen::MatrixXd transition_ = Eigen::MatrixXd::Zero(2 * model_->nv, 2 * model_->nv);
  Eigen::MatrixXd mass_ = Eigen::MatrixXd::Zero(model_->nv, model_->nv);
  Eigen::Matrix3d R_WR_;
  /// These are force and moment on each foot, in its frame.
  std::array<Eigen::Matrix<double, 6, 1>, feet.size()> wrenches_;
};

const bool mujoco_is_registered =
    peers()
        .try_emplace("MuJoCo", PeerEntry{mj_versionString(),
                                         "its stages kinematics and comPos; then crb and fullM; or comVel, rne and "
                                         "applyFT; derivatives by its function transitionFD",
                                         true,
                                         {"mjcf", "urdf"},
                                         [](const LoadedInstants& states, const auto& file) {
                                           return std::make_unique<MujocoPeer>(states, load_mujoco(file.string()));
                                         }})
        .second;

}  // namespace

}  // namespace korvel::bench
