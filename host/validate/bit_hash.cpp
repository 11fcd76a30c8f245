#include "host/validate/bit_hash.h"

#include <cmath>
#include <cstring>

#include "host/validate/states.h"

namespace korvel::validate {

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

}  // namespace

std::uint64_t bit_hash(tesk::RigidBodySystem& robot) {
  Hash hash;
  std::vector<float> shown;
  tesk::RigidBodySystem::ComJacobian J;
  for (unsigned long seed = 0; seed < 10000; ++seed) {
    compute(random_state(seed), robot);
    read_everything(robot, shown);
    for (const float value : shown) hash.add(value);
    for (unsigned long b = 0; b < 25; ++b) {
      const auto com = robot.computePartialComPositionInRoot(b);
      for (const float value : {com.x, com.y, com.z}) hash.add(value);
    }
    robot.computePartialComJacobian(seed % 25, J);
    for (const float value : J.reshaped()) hash.add(value);
  }
  return hash.value();
}

const std::uint64_t recorded_bit_hash = KORVEL_RECORDED_BITS;

}  // namespace korvel::validate
