#include "host/validate/laws/laws.h"

namespace korvel::validate::laws {

namespace {

std::string wrenches_are_local(const Subject& subject) {
  const Specimen robot(subject);
  return Deviations(0).over(robot.samples(64), [&](std::uint64_t seed, const State& state) {
    const Joints before = robot.torques(state);
    for (int b = 0; b < robot.bodies(); ++b) {
      State loaded = state;
      loaded.wrenches.col(b) += Eigen::Matrix<float, 6, 1>::Constant(1 + static_cast<float>(b));
      const Joints after = robot.torques(loaded);
      for (int j = 0; j < robot.joints(); ++j) {
        if (robot.moves(coordinate_of_joint(j), b)) continue;
        Deviations(0).compare(after(j), before(j), 1,
                              {seed, "torque of another limb, its last bit, with a wrench on body", b});
      }
    }
  });
}

std::string wrenches_act_by_the_jacobian(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.dynamic());
  return deviations.over(robot.samples(128), [&](std::uint64_t seed, const State& state) {
    State loaded = at_rest(state);
    const Joints without = robot.torques(loaded);
    robot.compute(loaded);
    for (int b = 0; b < robot.bodies(); ++b) {
      loaded.wrenches.setZero();
      loaded.wrenches.col(b) = state.wrenches.col(b);
      const Affine3d pose = robot.pose_in_root(b);
      const Vector3d force = pose.linear() * state.wrenches.col(b).head(3).cast<double>();
      const Vector3d moment = pose.linear() * state.wrenches.col(b).tail(3).cast<double>();
      Motion wrench;
      wrench << moment + pose.translation().cross(force), force;
      const Joints expected = -(robot.jacobian(b).transpose() * wrench).tail(robot.joints());
      deviations.compare(robot.torques(loaded) - without, expected, robot.torque_scale(loaded),
                         {seed, "change of torques by the wrench on body", b});
    }
  });
}

std::string wrench_frames_agree(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.dynamic());
  const auto samples = robot.samples(128);
  return deviations.over(samples, [&](std::uint64_t seed, const State& state) {
    const QZ::Math::Transform frame = random_pose(seed + samples.size());
    const Affine3d pose = affine(frame);
    State moved = state;
    for (int b = 0; b < robot.bodies(); ++b) {
      const Vector3d force = pose.linear() * state.wrenches.col(b).head(3).cast<double>();
      const Vector3d moment = pose.linear() * state.wrenches.col(b).tail(3).cast<double>();
      moved.wrenches.col(b) << force.cast<float>(), (moment + pose.translation().cross(force)).cast<float>();
    }
    const Joints expected = robot.torques(moved);
    for (int b = 0; b < robot.bodies(); ++b) {
      const auto body = static_cast<unsigned long>(b);
      robot->setExternalWrench(body, state.wrench(body), frame);
    }
    robot->computeInverseDynamics();
    const Joints seen = robot.shown_torques();
    // The moment about the other origin may be the larger one.
    State scale = moved;
    scale.wrenches.bottomRows(3) += state.wrenches.bottomRows(3).cwiseAbs();
    deviations.compare(seen, expected, robot.torque_scale(scale), {seed, "torques of wrenches given in another frame"});
  });
}

}  // namespace

Checks wrenches() {
  return {
      law("laws.wrenches-are-local", "A wrench changes no torque but those of the joints that move its body.",
          wrenches_are_local),
      law("laws.wrenches-by-jacobian", "A wrench changes torques by the transposed jacobian times it.",
          wrenches_act_by_the_jacobian),
      law("laws.wrench-frames", "A wrench given in another frame acts as the same wrench given in the body's frame.",
          wrench_frames_agree)};
}

}  // namespace korvel::validate::laws
