#include "contract/bit_hash.h"

#include <cmath>
#include <cstring>

#include "contract/shown.h"
#include "contract/states.h"

namespace korvel {

namespace {

/// FNV-1a.
class Hash {
 public:
  void add(float value) noexcept {
    std::uint32_t bits = 0;
    if (std::fpclassify(value) != FP_ZERO) std::memcpy(&bits, &value, sizeof(bits));
    for (int byte = 0; byte < 4; ++byte, bits >>= 8) value_ = (value_ ^ (bits & 0xff)) * 0x100000001b3U;
  }
  std::uint64_t value() const noexcept { return value_; }

 private:
  std::uint64_t value_ = 0xcbf29ce484222325U;
};

/// Everything that is computed for a state, and everything that an object shows after it.
class Results {
 public:
  explicit Results(tesk::RigidBodySystem& robot) : robot_(robot) {}

  void add(unsigned long seed) {
    compute(random_state(seed, robot_), robot_);
    read_everything(robot_, shown_);
    for (const float value : shown_) hash_.add(value);
    for (unsigned long b = 0; b < robot_.getNbBodies(); ++b) {
      add(robot_.computePartialComPositionInRoot(b));
      add(robot_.getComPosition(b));
    }
    robot_.computePartialComJacobian(seed % robot_.getNbBodies(), J_);
    for (const float value : J_.reshaped()) hash_.add(value);
    add_framed_wrench(seed);
  }

  std::uint64_t hash() const noexcept { return hash_.value(); }

 private:
  void add(const QZ::Math::Position3D& p) {
    for (const float value : {p.x, p.y, p.z}) hash_.add(value);
  }

  void add_framed_wrench(unsigned long seed) {
    const State other = random_state(seed + 1, robot_);
    const unsigned long b = seed % robot_.getNbBodies();
    robot_.setExternalWrench(b, other.wrench(b), other.root_pose());
    robot_.computeInverseDynamics();
    for (const float torque : robot_.getJointAnglesTorque()) hash_.add(torque);
  }

  tesk::RigidBodySystem& robot_;
  Hash hash_;
  std::vector<float> shown_;
  tesk::RigidBodySystem::ComJacobian J_;
};

void set_random_inertias(tesk::RigidBodySystem& robot) {
  Random random(0);
  for (unsigned long b = 0; b < robot.getNbBodies(); ++b) {
    const float mass = 1 + random(0.75F);
    const QZ::Math::Position3D com{random(0.1F), random(0.1F), random(0.1F)};  // braces: in this order
    Eigen::Matrix3f inertia;
    random.fill(inertia, 0.001F);
    inertia.diagonal().array() += 0.01F;
    robot.setBodyInertia(b, mass, com, inertia);
  }
}

}  // namespace

std::uint64_t bit_hash(tesk::RigidBodySystem& robot) {
  Results results(robot);
  for (unsigned long seed = 0; seed < 10000; ++seed) results.add(seed);
  set_random_inertias(robot);
  for (unsigned long seed = 0; seed < 100; ++seed) results.add(seed);
  return results.hash();
}

bool has_recorded_bits(const tesk::RigidBodySystem& robot) {
  return robot.getBodyName(0) == "Torso" && robot.getBodyName(robot.getNbBodies() - 1) == "RWristYaw";
}

const std::uint64_t recorded_bit_hash = KORVEL_RECORDED_BITS;

}  // namespace korvel
