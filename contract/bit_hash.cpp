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
  Hash hash;
  std::vector<float> shown;
  tesk::RigidBodySystem::ComJacobian J;
  const auto add = [&](const QZ::Math::Position3D& p) {
    for (const float value : {p.x, p.y, p.z}) hash.add(value);
  };
  // Everything that is computed for a state, and everything that an object shows after it.
  const auto add_state = [&](unsigned long seed) {
    compute(random_state(seed, robot), robot);
    read_everything(robot, shown);
    for (const float value : shown) hash.add(value);
    for (unsigned long b = 0; b < robot.getNbBodies(); ++b) {
      add(robot.computePartialComPositionInRoot(b));
      add(robot.getComPosition(b));
    }
    const unsigned long body = seed % robot.getNbBodies();
    robot.computePartialComJacobian(body, J);
    for (const float value : J.reshaped()) hash.add(value);
    const State other = random_state(seed + 1, robot);
    robot.setExternalWrench(body, other.wrench(body), other.root_pose());
    robot.computeInverseDynamics();
    for (const float torque : robot.getJointAnglesTorque()) hash.add(torque);
  };
  for (unsigned long seed = 0; seed < 10000; ++seed) add_state(seed);
  set_random_inertias(robot);
  for (unsigned long seed = 0; seed < 100; ++seed) add_state(seed);
  return hash.value();
}

bool has_recorded_bits(const tesk::RigidBodySystem& robot) {
  return robot.getBodyName(0) == "Torso" && robot.getBodyName(robot.getNbBodies() - 1) == "RWristYaw";
}

const std::uint64_t recorded_bit_hash = KORVEL_RECORDED_BITS;

}  // namespace korvel
