#include "bench/stand/simulation.h"

#include <algorithm>
#include <cmath>

namespace korvel::bench {

namespace {

constexpr double step = 1e-3;      // [s]
constexpr double armature = 1e-3;  // of a joint's motor [kg m^2]
constexpr double gain = 20;        // [N m/rad]
constexpr double damping = 0.3;    // [N m s/rad]
constexpr double stance = 1;       // before the motion and after it [s]

constexpr double moment_length = 0.1;  // [m]

double weight_of(const mjModel& model) { return mj_getTotalmass(&model) * -model.opt.gravity[2]; }

/// The model with motors. Its damping is that of the feedback: MuJoCo integrates it implicitly.
MujocoModel with_motors(const mjModel& model) {
  MujocoModel motorized(mj_copyModel(nullptr, &model), mj_deleteModel);
  motorized->opt.timestep = step;
  std::fill(motorized->dof_armature + 6, motorized->dof_armature + model.nv, armature);
  std::fill(motorized->dof_damping + 6, motorized->dof_damping + model.nv, damping);
  mj_setConst(motorized.get(), make_data(*motorized).get());
  return motorized;
}

std::vector<int> bodies_of(const mjModel& model, const Recording& recording) {
  std::vector<int> bodies;
  for (const std::string& foot : recording.feet) bodies.push_back(mj_name2id(&model, mjOBJ_BODY, foot.c_str()));
  return bodies;
}

}  // namespace

Played play(const mjModel& exported, const Recording& recording) {
  const MujocoModel model = with_motors(exported);
  const MujocoData data = make_data(*model);
  const std::vector<int> feet = bodies_of(*model, recording);
  const double weight = weight_of(*model);
  const Eigen::Index joints = model->nv - 6;
  const Eigen::Map<Eigen::VectorXd> q(data->qpos, model->nq);
  const Eigen::Map<Eigen::VectorXd> dq(data->qvel, model->nv);
  Eigen::Map<Eigen::VectorXd> applied(data->qfrc_applied, model->nv);
  mju_copy(data->qpos, recording.states.front().q.data(), model->nq);

  Played played;
  played.loads.resize(feet.size());
  const double end = recording.time.back();
  int compared = 0;
  for (int k = 0; k * step < stance + end + stance; ++k) {
    const double time = k * step - stance;
    const auto [before, after, share] = recording.around(time);
    const auto between = [share = share](const auto& from, const auto& to) { return from + share * (to - from); };
    const MujocoState &from = recording.states[before], &to = recording.states[after];
    const auto a = static_cast<Eigen::Index>(before), b = static_cast<Eigen::Index>(after);
    // The robot is at rest before and after the motion.
    const double rate_damping = a < b ? damping : 0;
    const Eigen::VectorXd feedback = gain * (between(from.q, to.q).tail(joints) - q.tail(joints)) +
                                     rate_damping * between(from.dq, to.dq).tail(joints);
    applied.tail(joints) = between(recording.torques.col(a), recording.torques.col(b)) + feedback;
    const Eigen::Vector3d recorded_root = between(from.q, to.q).head<3>();
    const Eigen::Vector3d root = q.head<3>();
    const Eigen::VectorXd given = feedback - damping * dq.tail(joints);
    // This leaves the forces of the instant from which it steps.
    mj_step(model.get(), data.get());
    mj_rnePostConstraint(model.get(), data.get());

    played.drift = std::max(played.drift, (root - recorded_root).norm());
    played.lowest = std::min(played.lowest, root.z() / recorded_root.z());
    if (time < 0 || time > end) continue;
    ++compared;
    played.feedback = std::max(played.feedback, given.cwiseAbs().maxCoeff());
    for (std::size_t f = 0; f < feet.size(); ++f) {
      const auto loads = recording.wrenches[f].row(2);
      const double deviation = (data->cfrc_ext[6 * feet[f] + 5] - between(loads(a), loads(b))) / weight;
      played.loads[f].largest = std::max(played.loads[f].largest, std::abs(deviation));
      played.loads[f].rms += deviation * deviation;
    }
  }
  for (Deviation& load : played.loads) load.rms = std::sqrt(load.rms / compared);
  return played;
}

Inverse compare_inverse(const mjModel& model, const Recording& recording) {
  const MujocoData data = make_data(model);
  const std::vector<int> feet = bodies_of(model, recording);
  const double weight = weight_of(model);
  Inverse missing;
  Eigen::VectorXd forces(model.nv);
  for (std::size_t s = 0; s < recording.states.size(); ++s) {
    const MujocoState& state = recording.states[s];
    const auto column = static_cast<Eigen::Index>(s);
    mju_copy(data->qpos, state.q.data(), model.nq);
    mju_copy(data->qvel, state.dq.data(), model.nv);
    mju_copy(data->qacc, state.ddq.data(), model.nv);
    mj_kinematics(&model, data.get());
    mj_comPos(&model, data.get());
    mj_comVel(&model, data.get());
    mj_rne(&model, data.get(), 1, forces.data());
    for (std::size_t f = 0; f < feet.size(); ++f) {
      const auto wrench = recording.wrenches[f].col(column);
      subtract_wrench(model, *data, feet[f], wrench.head<3>(), wrench.tail<3>(), forces);
    }
    missing.root = std::max(
        {missing.root, forces.head<3>().norm() / weight, forces.segment<3>(3).norm() / (weight * moment_length)});
    missing.joints =
        std::max(missing.joints, (forces.tail(model.nv - 6) - recording.torques.col(column)).cwiseAbs().maxCoeff());
  }
  return missing;
}

}  // namespace korvel::bench
