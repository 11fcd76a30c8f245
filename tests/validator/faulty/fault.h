#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "plugin/aligned_storage.h"
#include "tests/validator/faulty/forwarder.h"

namespace korvel::faulty {

/// Whether the environment names this fault.
inline bool is_wanted(std::string_view fault) noexcept {
  const char* wanted = std::getenv("KORVEL_FAULT");
  return wanted != nullptr && wanted == fault;
}

/// Throws a text of two lines that steers a terminal and is not UTF-8.
[[noreturn]] inline void throw_odd_text() { throw std::runtime_error("out\nof \x1b[31morder \xff"); }

/// What a class with a fault is derived from: its clones have the fault, too.
template <typename Fault>
class Faulty : public Forwarder {
 public:
  std::unique_ptr<RigidBodySystem> clone() const override {
    return std::make_unique<Fault>(static_cast<const Fault&>(*this));
  }
};

class Sound : public Faulty<Sound> {};

enum class After { except_root, only_root, mass_matrix, torques };

/// Something happens at the end of a computation.
template <After computation, void (*happen)(Forwarder&)>
class Spoilt : public Faulty<Spoilt<computation, happen>> {
 public:
  void computeFwdKinematicsExceptRoot() noexcept override {
    this->real().computeFwdKinematicsExceptRoot();
    after<After::except_root>();
  }
  void computeFwdKinematicsOnlyRoot() noexcept override {
    this->real().computeFwdKinematicsOnlyRoot();
    after<After::only_root>();
  }
  void computeGeneralizedMass() noexcept override {
    this->real().computeGeneralizedMass();
    after<After::mass_matrix>();
  }
  void computeInverseDynamics() noexcept override {
    this->real().computeInverseDynamics();
    after<After::torques>();
  }

 private:
  template <After done>
  void after() noexcept {
    if constexpr (done == computation) happen(*this);
  }
};

inline void drop_wrenches(tesk::RigidBodySystem& robot) {
  for (unsigned long b = 0; b < robot.getNbBodies(); ++b) robot.setExternalWrench(b, std::vector<float>(6));
}

/// A fault's name, and what `create` does.
struct Named {
  std::string_view name;
  tesk::RigidBodySystem* (*create)();
};
using Faults = std::vector<Named>;

template <typename Fault>
tesk::RigidBodySystem* make() {
  return new Fault;
}

tesk::RigidBodySystem* make_wrong_operation();
Faults loading_faults();
Faults state_faults();
Faults object_faults();
Faults law_faults();
Faults real_time_faults();

}  // namespace korvel::faulty
