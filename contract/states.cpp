#include "contract/states.h"

#include "contract/shown.h"

namespace korvel {

namespace {

QZ::Math::Velocity6D six(const Eigen::VectorXf& v) { return {v(0), v(1), v(2), v(3), v(4), v(5)}; }

}  // namespace

std::uint64_t Random::integer() noexcept {
  std::uint64_t z = state_ += 0x9e3779b97f4a7c15U;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
  return z ^ (z >> 31);
}

State::State(const RobotSize& size)
    : q(Eigen::VectorXf::Zero(size.coordinates())), dq(q), ddq(q), wrenches(Eigen::MatrixXf::Zero(6, size.bodies)) {}

QZ::Math::Transform State::root_pose() const {
  return QZ::Math::transformFromPosition6D({q(0), q(1), q(2), q(3), q(4), q(5)});
}

QZ::Math::Velocity6D State::root_velocity() const { return six(dq); }
QZ::Math::Velocity6D State::root_acceleration() const { return six(ddq); }

std::vector<float> State::wrench(unsigned long b) const {
  const float* first = wrenches.col(static_cast<Eigen::Index>(b)).data();
  return {first, first + 6};
}

State random_state(std::uint64_t seed, const RobotSize& size) {
  Random random(seed);
  State s(size);
  random.fill(s.q, 3);
  s.q.head(3) *= 0.25F;  // position within a metre, pitch short of the pole
  s.q(4) *= 0.5F;
  random.fill(s.dq, 2);
  random.fill(s.ddq, 8);
  random.fill(s.wrenches.topRows(3), 4);
  random.fill(s.wrenches.bottomRows(3), 0.5F);
  return s;
}

QZ::Math::Transform random_pose(std::uint64_t seed) { return random_state(seed, RobotSize(1)).root_pose(); }

void write(const State& s, tesk::RigidBodySystem& robot) {
  robot.setRootPose(s.root_pose());
  robot.setRootVelocity(s.root_velocity());
  robot.setRootAcceleration(s.root_acceleration());
  robot.setJointAnglesPos(joints_of(s.q).array());
  robot.setJointAnglesVel(joints_of(s.dq).array());
  robot.setJointAnglesAcc(joints_of(s.ddq).array());
  for (unsigned long b = 0; b < robot.getNbBodies(); ++b) robot.setExternalWrench(b, s.wrench(b));
}

void compute(const State& state, tesk::RigidBodySystem& robot) {
  write(state, robot);
  robot.computeFwdKinematics();
  robot.computeGeneralizedMass();
  robot.computeInverseDynamics();
}

std::vector<float> everything_after_each(const std::vector<State>& states, tesk::RigidBodySystem& robot) {
  std::vector<float> all;
  for (const State& state : states) {
    compute(state, robot);
    const std::vector<float> shown = everything_readable(robot);
    all.insert(all.end(), shown.begin(), shown.end());
  }
  return all;
}

}  // namespace korvel
