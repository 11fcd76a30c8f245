#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include "tests/host/validate/faulty/fault.h"

namespace korvel::faulty {
namespace {

// ---- Faults when it is loaded ---------------------------------------------------------------------------------------

bool is_wanted(std::string_view fault) {
  const char* wanted = std::getenv("KORVEL_FAULT");
  return wanted != nullptr && wanted == fault;
}

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
/// As if it had been the validator, to whoever may listen.
tesk::RigidBodySystem* lie() {
  for (int descriptor = 0; descriptor < 64; ++descriptor) {
    if (write(descriptor, "held, all promises held\n", 24) < 0) continue;
  }
  std::_Exit(0);
}
tesk::RigidBodySystem* return_nothing() { return nullptr; }
tesk::RigidBodySystem* throw_text_that_is_not_utf8() { throw std::runtime_error("out of order \xff"); }
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

class NoVolatileFrame : public Faulty<NoVolatileFrame> {
 public:
  unsigned long getNbVolatileFrames() const noexcept override { return 0; }
};

class ShortView : public Faulty<ShortView> {
 public:
  tesk::FloatRange getJointAnglesVel() const noexcept override {
    const tesk::FloatRange all = real().getJointAnglesVel();
    return {all.first, all.last - 1};
  }
};

class IdsOffByOne : public Faulty<IdsOffByOne> {
 public:
  unsigned long getJointAngleId(const std::string& name) const override { return real().getJointAngleId(name) + 1; }
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

class ParentAfterChild : public Faulty<ParentAfterChild> {
 public:
  TopologyVector getParentsVector() const override {
    TopologyVector parents = real().getParentsVector();
    parents[5] = 7;
    return parents;
  }
};

class IndexesOfBodies : public Faulty<IndexesOfBodies> {
 public:
  TopologyVector getDofIndexesVector() const override {
    TopologyVector indexes = real().getDofIndexesVector();
    for (std::size_t b = 0; b < indexes.size(); ++b) indexes[b] = static_cast<std::int64_t>(b);
    return indexes;
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
      {"create lies", lie},
      {"create returns nothing", return_nothing},
      {"create throws", throw_text_that_is_not_utf8},
      {"create throws a number", throw_number},
      {"stays in memory", stay_in_memory},
      {"copies share the mass", make<MassInEnvironment>},
      {"no volatile frame", make<NoVolatileFrame>},
      {"short view", make<ShortView>},
      {"ids off by one", make<IdsOffByOne>},
      {"names end with the object", make<NamesEndWithObject>},
      {"parent after child", make<ParentAfterChild>},
      {"indexes of bodies for those of coordinates", make<IndexesOfBodies>},
  };
}

}  // namespace korvel::faulty
