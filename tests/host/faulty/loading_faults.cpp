#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "tests/host/faulty/fault.h"

namespace korvel::faulty {
namespace {

// ---- Faults of `create` ---------------------------------------------------------------------------------------------

tesk::RigidBodySystem* abortAtOnce() { std::abort(); }
tesk::RigidBodySystem* exitAtOnce() { std::_Exit(0); }
tesk::RigidBodySystem* hang() {
  for (;;) pause();
}
tesk::RigidBodySystem* returnNothing() { return nullptr; }
tesk::RigidBodySystem* throwTextThatIsNotUtf8() { throw std::runtime_error("out of order \xff"); }
tesk::RigidBodySystem* throwNumber() { throw 42; }

tesk::RigidBodySystem* stayInMemory() {
  Dl_info self;
  dladdr(reinterpret_cast<void*>(&stayInMemory), &self);
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

Faults loadingFaults() {
  return {
      {"create aborts", abortAtOnce},
      {"create exits", exitAtOnce},
      {"create hangs", hang},
      {"create returns nothing", returnNothing},
      {"create throws", throwTextThatIsNotUtf8},
      {"create throws a number", throwNumber},
      {"stays in memory", stayInMemory},
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
