#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "tests/host/validate/faulty/fault.h"

namespace korvel::faulty {
namespace {

// ---- Beginnings, names and views ------------------------------------------------------------------------------------

class StartsBent : public Faulty<StartsBent> {
 public:
  StartsBent() { real().setJointAnglePos(3, 0.1F); }
};

class StartsLoaded : public Faulty<StartsLoaded> {
 public:
  StartsLoaded() { real().setExternalWrench(7, {1, 1, 1, 0, 0, 0}); }
};

class NoBodyIsRoot : public Faulty<NoBodyIsRoot> {
 public:
  const Transform& getPose(unsigned long b) const noexcept override { return real().getPose(b == ~0UL ? 0 : b); }
};

class OtherWords : public Faulty<OtherWords> {
 public:
  unsigned long getBodyId(const std::string& name) const override {
    try {
      return real().getBodyId(name);
    } catch (const std::out_of_range&) {
      throw std::out_of_range("unknown body");
    }
  }
};

class NamesEndAtNull : public Faulty<NamesEndAtNull> {
 public:
  unsigned long getBodyId(const std::string& name) const override { return real().getBodyId(name.c_str()); }
};

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

// ---- Inputs ---------------------------------------------------------------------------------------------------------

class SwappedRates : public Faulty<SwappedRates> {
 public:
  float getJointAngleVel(unsigned long j) const noexcept override { return real().getJointAngleAcc(j); }
  float getJointAngleAcc(unsigned long j) const noexcept override { return real().getJointAngleVel(j); }
};

class LastValues : public Faulty<LastValues> {
 public:
  void setJointAnglesAcc(const JointValues& values) noexcept override {
    real().setJointAnglesAcc(values.tail(static_cast<Eigen::Index>(getNbJointAngles())));
  }
};

class OneUlpOff : public Faulty<OneUlpOff> {
 public:
  Six getRootVelocity() const noexcept override {
    Six v = real().getRootVelocity();
    v.wz = std::nextafter(v.wz, 0.0F);
    return v;
  }
};

class EagerRoot : public Faulty<EagerRoot> {
 public:
  void setRootPose(const Transform& pose) noexcept override {
    real().setRootPose(pose);
    real().computeFwdKinematicsOnlyRoot();
  }
};

class CoarseAngles : public Faulty<CoarseAngles> {
 public:
  void setRootPose(const Transform& pose) noexcept override {
    QZ::Math::Position6D p = QZ::Math::position6DFromTransform(pose);
    for (float* angle : {&p.ax, &p.ay, &p.az}) *angle = std::round(*angle * 1024) / 1024;
    real().setRootPose(QZ::Math::transformFromPosition6D(p));
  }
};

class WrenchesAddUp : public Faulty<WrenchesAddUp> {
 public:
  using Faulty::setExternalWrench;
  void setExternalWrench(unsigned long b, const Wrench& wrench) noexcept override {
    for (std::size_t i = 0; i < 6; ++i) sums_[b][i] += wrench[i];
    real().setExternalWrench(b, {sums_[b].begin(), sums_[b].end()});
  }

 private:
  std::vector<std::array<float, 6>> sums_ = std::vector<std::array<float, 6>>(getNbBodies());
};

void use_wrenches_up(Forwarder& robot) { drop_wrenches(robot.real()); }

[[noreturn]] void crash(Forwarder&) { std::abort(); }
void refresh_poses(Forwarder& robot) { robot.real().computeFwdKinematicsOnlyRoot(); }
void move_volatile_frame(Forwarder& robot) { robot.real().setVolatilePose(0, robot.getRootPose()); }

}  // namespace

Faults state_faults() {
  return {
      {"starts bent", make<StartsBent>},
      {"starts loaded", make<StartsLoaded>},
      {"no body is the root", make<NoBodyIsRoot>},
      {"other words", make<OtherWords>},
      {"names end at a null character", make<NamesEndAtNull>},
      {"stale view", make<StaleView>},
      {"swapped rates", make<SwappedRates>},
      {"last values instead of first", make<LastValues>},
      {"one ulp off", make<OneUlpOff>},
      {"bodies follow the root at once", make<EagerRoot>},
      {"coarse angles", make<CoarseAngles>},
      {"wrenches add up", make<WrenchesAddUp>},
      {"wrenches are used up", make<Spoilt<After::torques, use_wrenches_up>>},
      {"crashes in the dynamics", make<Spoilt<After::torques, crash>>},
      {"torques refresh poses", make<Spoilt<After::torques, refresh_poses>>},
      {"volatile frame follows the root", make<Spoilt<After::only_root, move_volatile_frame>>},
  };
}

}  // namespace korvel::faulty
