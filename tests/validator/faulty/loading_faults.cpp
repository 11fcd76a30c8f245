#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/validator/faulty/fault.h"

namespace korvel::faulty {
namespace {

// ---- Faults when it is loaded ---------------------------------------------------------------------------------------

tesk::RigidBodySystem* hang() {
  for (;;) pause();
}

const struct AtLoad {
  AtLoad() {
    if (is_wanted("hangs at load")) hang();
    if (is_wanted("aborts at load")) std::abort();
    if (is_wanted("exits at load")) std::_Exit(0);
    if (!is_wanted("copies abort")) return;
    if (std::getenv("KORVEL_LOADED") != nullptr) std::abort();
    setenv("KORVEL_LOADED", "", 1);
  }
} at_load;

// ---- Faults of `create` ---------------------------------------------------------------------------------------------

tesk::RigidBodySystem* abort_at_once() { std::abort(); }
tesk::RigidBodySystem* exit_at_once() { std::_Exit(0); }
tesk::RigidBodySystem* return_nothing() { return nullptr; }
tesk::RigidBodySystem* throw_text() { throw_odd_text(); }
tesk::RigidBodySystem* throw_number() { throw 42; }

tesk::RigidBodySystem* stay_in_memory() {
  Dl_info self;
  dladdr(reinterpret_cast<void*>(&stay_in_memory), &self);
  dlopen(self.dli_fname, RTLD_NOW | RTLD_NODELETE);
  return make<Sound>();
}

// ---- Faults of what objects say of the robot ------------------------------------------------------------------------

/// The total mass of every copy in the process is that of the last change.
class MassInEnvironment : public Faulty<MassInEnvironment> {
 public:
  using Faulty::getMass;
  void setBodyInertia(unsigned long b, float mass, const Position& com, const Eigen::Matrix3f& I) noexcept override {
    real().setBodyInertia(b, mass, com, I);
    setenv("KORVEL_MASS", std::to_string(real().getMass()).c_str(), 1);
  }
  float getMass() const noexcept override {
    const char* mass = std::getenv("KORVEL_MASS");
    return mass != nullptr ? std::strtof(mass, nullptr) : real().getMass();
  }
};

std::string name_of_body_5;

class NamesEndWithObject : public Faulty<NamesEndWithObject> {
 public:
  NamesEndWithObject() { name_of_body_5 = real().getBodyName(5); }
  NamesEndWithObject(const NamesEndWithObject&) = default;
  NamesEndWithObject& operator=(const NamesEndWithObject&) = delete;
  ~NamesEndWithObject() override { name_of_body_5.clear(); }
  const std::string& getBodyName(unsigned long b) const noexcept override {
    return b == 5 ? name_of_body_5 : real().getBodyName(b);
  }
};

}  // namespace

Faults loading_faults() {
  return {
      {"hangs at load", make<Sound>},
      {"aborts at load", make<Sound>},
      {"exits at load", make<Sound>},
      {"copies abort", make<Sound>},
      {"create aborts", abort_at_once},
      {"create exits", exit_at_once},
      {"create hangs", hang},
      {"create returns nothing", return_nothing},
      {"create throws", throw_text},
      {"create throws a number", throw_number},
      {"stays in memory", stay_in_memory},
      {"copies share the mass", make<MassInEnvironment>},
      {"names end with the object", make<NamesEndWithObject>},
  };
}

}  // namespace korvel::faulty
