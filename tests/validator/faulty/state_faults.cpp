#include <algorithm>
#include <array>
#include <cstdlib>

#include "tests/validator/faulty/fault.h"

namespace korvel::faulty {
namespace {

class StaleView : public Faulty<StaleView> {
 public:
  tesk::FloatRange getJointAnglesVel() const noexcept override {
    const tesk::FloatRange now = real().getJointAnglesVel();
    std::copy(now.begin(), now.end(), shown_.begin());
    return {shown_.data(), shown_.data() + now.size()};
  }

 private:
  mutable std::array<float, 64> shown_{};
};

void use_wrenches_up(Forwarder& robot) { drop_wrenches(robot.real()); }

[[noreturn]] void crash(Forwarder&) { std::abort(); }
void refresh_poses(Forwarder& robot) { robot.real().computeFwdKinematicsOnlyRoot(); }
void move_volatile_frame(Forwarder& robot) { robot.real().setVolatilePose(0, robot.getRootPose()); }

}  // namespace

Faults state_faults() {
  return {
      {"stale view", make<StaleView>},
      {"wrenches are used up", make<Spoilt<After::torques, use_wrenches_up>>},
      {"crashes in the dynamics", make<Spoilt<After::torques, crash>>},
      {"torques refresh poses", make<Spoilt<After::torques, refresh_poses>>},
      {"volatile frame follows the root", make<Spoilt<After::only_root, move_volatile_frame>>},
  };
}

}  // namespace korvel::faulty
