#include "states/states.h"

#include <cstring>

namespace korvel {

namespace {

QZ::Math::Velocity6D six(const Eigen::VectorXf& v) { return {v(0), v(1), v(2), v(3), v(4), v(5)}; }

template <typename Value>
void append(std::vector<float>& all, const Value* values, std::size_t count) {
  const std::size_t old = all.size();
  all.resize(old + count * sizeof(Value) / sizeof(float));
  std::memcpy(all.data() + old, values, count * sizeof(Value));
}

}  // namespace

std::uint64_t Random::integer() noexcept {
  std::uint64_t z = state_ += 0x9e3779b97f4a7c15U;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
  return z ^ (z >> 31);
}

QZ::Math::Transform State::root_pose() const {
  return QZ::Math::transformFromPosition6D({q(0), q(1), q(2), q(3), q(4), q(5)});
}

QZ::Math::Velocity6D State::root_velocity() const { return six(dq); }
QZ::Math::Velocity6D State::root_acceleration() const { return six(ddq); }

std::vector<float> State::wrench(unsigned long b) const {
  const float* first = wrenches.col(static_cast<Eigen::Index>(b)).data();
  return {first, first + 6};
}

State random_state(std::uint64_t seed) {
  Random random(seed);
  State s;
  random.fill(s.q, 3);
  s.q.head(3) *= 0.25F;  // position within a metre, pitch short of the pole
  s.q(4) *= 0.5F;
  random.fill(s.dq, 2);
  random.fill(s.ddq, 8);
  random.fill(s.wrenches.topRows(3), 4);
  random.fill(s.wrenches.bottomRows(3), 0.5F);
  return s;
}

void write(const State& s, tesk::RigidBodySystem& robot) {
  robot.setRootPose(s.root_pose());
  robot.setRootVelocity(s.root_velocity());
  robot.setRootAcceleration(s.root_acceleration());
  robot.setJointAnglesPos(s.q.tail(24).array());
  robot.setJointAnglesVel(s.dq.tail(24).array());
  robot.setJointAnglesAcc(s.ddq.tail(24).array());
  for (unsigned long b = 0; b < 25; ++b) robot.setExternalWrench(b, s.wrench(b));
}

void compute(const State& state, tesk::RigidBodySystem& robot) {
  write(state, robot);
  robot.computeFwdKinematics();
  robot.computeGeneralizedMass();
  robot.computeInverseDynamics();
}

void read_everything(const tesk::RigidBodySystem& robot, std::vector<float>& all) {
  all.clear();
  for (unsigned long b = 0; b < 25; ++b) append(all, &robot.getPose(b), 1);
  for (unsigned long b = 0; b < 25; ++b) append(all, &robot.getPoseInRoot(b), 1);
  append(all, &robot.getVolatilePose(0), 1);
  append(all, &robot.getComPosition(), 1);
  append(all, &robot.getComPositionInRoot(), 1);
  append(all, robot.getJacobianInRoot().data(), 6 * 30);
  append(all, robot.getGeneralizedMass().data(), 30 * 30);
  append(all, robot.getJointAnglesTorque().begin(), 24);
  for (const auto& rates : {robot.getRootVelocity(), robot.getRootAcceleration()}) append(all, &rates, 1);
  for (const auto& joints : {robot.getJointAnglesPos(), robot.getJointAnglesVel(), robot.getJointAnglesAcc()}) {
    append(all, joints.begin(), 24);
  }
}

std::vector<float> everything_readable(const tesk::RigidBodySystem& robot) {
  std::vector<float> all;
  read_everything(robot, all);
  return all;
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

bool same_bits(const std::vector<float>& a, const std::vector<float>& b) {
  if (a.size() != b.size()) return false;
  // An empty vector may have no address, and memcmp takes none.
  return a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

}  // namespace korvel
