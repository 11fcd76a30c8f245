#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cfenv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <mutex>

#include "tests/validator/faulty/fault.h"

namespace korvel::faulty {
namespace {

// ---- What a computation does beside computing -----------------------------------------------------------------------

void allocate(Forwarder&) {
  void* volatile block = std::malloc(24);
  std::free(block);
}

void lock(Forwarder&) {
  static std::mutex mutex;
  const std::lock_guard<std::mutex> guard(mutex);
}

void call_system(Forwarder&) { getppid(); }

void touch_new_page(Forwarder&) {
  static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  static void* const page = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  madvise(page, size, MADV_DONTNEED);
  *static_cast<volatile char*>(page) = 1;
}

void use_deep_stack(Forwarder&) {
  volatile char deep[20 << 10]{};
  static_cast<void>(deep[0]);
}

void divide_zero_by_zero(Forwarder&) {
  volatile float zero = 0;
  zero = zero / zero;
}

void overflow(Forwarder&) {
  volatile float large = std::numeric_limits<float>::max();
  large = large * large;
}

void round_upwards(Forwarder&) { std::fesetround(FE_UPWARD); }

/// There and back by way of a denormal number.
void pass_denormal_number(Forwarder& robot) {
  volatile float small = robot.torque(0) * 0x1p-100F;
  small = small * 0x1p-35F;
  small = small * 0x1p35F;
  robot.torque(0) = small * 0x1p100F;
}

void lose_last_bit(Forwarder& robot) { robot.torque(20) = std::nextafter(robot.torque(20), 0.0F); }

/// The joint angles rest outside of the object while it computes, for so long that threads that take turns on a
/// processor come across it.
void rest_outside(Forwarder& robot) {
  const auto angles = robot.getJointAnglesPos();
  static std::array<float, 64> shared;
  std::copy(angles.begin(), angles.end(), shared.begin());
  for (int i = 0; i < 50; ++i) robot.real().computeFwdKinematicsExceptRoot();
  robot.setJointAnglesPos(Eigen::Map<const Eigen::ArrayXf>(shared.data(), static_cast<Eigen::Index>(angles.size())));
}

// ---- What only a host that calls at random comes across -------------------------------------------------------------

/// The second clone of a clone has lost the last joint's acceleration.
class TiredClones : public Faulty<TiredClones> {
 public:
  TiredClones() = default;
  TiredClones(const TiredClones& other) : Faulty(other), generation_(other.generation_ + 1) {
    if (generation_ == 3) real().setJointAngleAcc(getNbJointAngles() - 1, 0);
  }
  TiredClones& operator=(const TiredClones&) = delete;
  ~TiredClones() override = default;

 private:
  int generation_ = 0;
};

}  // namespace

Faults real_time_faults() {
  return {
      {"allocates", make<Spoilt<After::torques, allocate>>},
      {"locks", make<Spoilt<After::mass_matrix, lock>>},
      {"calls the system", make<Spoilt<After::only_root, call_system>>},
      {"touches new pages", make<Spoilt<After::except_root, touch_new_page>>},
      {"deep stack", make<Spoilt<After::torques, use_deep_stack>>},
      {"divides zero by zero", make<Spoilt<After::mass_matrix, divide_zero_by_zero>>},
      {"overflows", make<Spoilt<After::only_root, overflow>>},
      {"rounds upwards", make<Spoilt<After::except_root, round_upwards>>},
      {"denormal number on the way", make<Spoilt<After::torques, pass_denormal_number>>},
      {"last bit is lost", make<Spoilt<After::torques, lose_last_bit>>},
      {"inputs rest outside", make<Spoilt<After::except_root, rest_outside>>},
      {"tired clones", make<TiredClones>},
  };
}

}  // namespace korvel::faulty
