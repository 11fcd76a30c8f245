#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "tests/host/faulty/fault.h"

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
    return {shown_.data(), shown_.data() + shown_.size()};
  }

 private:
  mutable std::array<float, 24> shown_{};
};

// ---- Inputs ---------------------------------------------------------------------------------------------------------

class SwappedRates : public Faulty<SwappedRates> {
 public:
  float getJointAngleVel(unsigned long j) const noexcept override { return real().getJointAngleAcc(j); }
  float getJointAngleAcc(unsigned long j) const noexcept override { return real().getJointAngleVel(j); }
};

class LastValues : public Faulty<LastValues> {
 public:
  void setJointAnglesAcc(const JointValues& values) noexcept override { real().setJointAnglesAcc(values.tail(24)); }
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
  std::array<std::array<float, 6>, 25> sums_{};
};

void dropWrenches(tesk::RigidBodySystem& robot) {
  for (unsigned long b = 0; b < 25; ++b) robot.setExternalWrench(b, std::vector<float>(6));
}
void useWrenchesUp(Forwarder& robot) { dropWrenches(robot.real()); }

void refreshPoses(Forwarder& robot) { robot.real().computeFwdKinematicsOnlyRoot(); }
void moveVolatileFrame(Forwarder& robot) { robot.real().setVolatilePose(0, robot.getRootPose()); }

// ---- Objects --------------------------------------------------------------------------------------------------------

class CloneWithoutWrenches : public Faulty<CloneWithoutWrenches> {
 public:
  std::unique_ptr<RigidBodySystem> clone() const override {
    auto made = Faulty::clone();
    dropWrenches(*made);
    return made;
  }
};

/// The clone shows all that its original does, but its joint pass is that of the current joint angles.
class CloneWithoutPast : public Faulty<CloneWithoutPast> {
 public:
  std::unique_ptr<RigidBodySystem> clone() const override {
    auto made = std::make_unique<CloneWithoutPast>(*this);
    made->computeInverseDynamics();
    for (unsigned long j = 0; j < 24; ++j) made->torque(j) = getJointAngleTorque(j);
    return made;
  }
};

class CloneSharesVolatilePose : public Faulty<CloneSharesVolatilePose> {
 public:
  const Transform& getVolatilePose(unsigned long) const noexcept override { return *shared_; }
  void setVolatilePose(unsigned long, const Transform& pose) noexcept override { *shared_ = pose; }

 private:
  std::shared_ptr<Transform> shared_ = std::make_shared<Transform>();
};

class ObjectsShareVolatilePose : public Faulty<ObjectsShareVolatilePose> {
 public:
  const Transform& getVolatilePose(unsigned long) const noexcept override { return shared(); }
  void setVolatilePose(unsigned long, const Transform& pose) noexcept override { shared() = pose; }

 private:
  static Transform& shared() {
    static Transform pose;
    return pose;
  }
};

class OriginalOutlivesClones : public Faulty<OriginalOutlivesClones> {
 public:
  OriginalOutlivesClones() = default;
  OriginalOutlivesClones(const OriginalOutlivesClones& other) : Faulty(other), family_(other.family_) {}
  OriginalOutlivesClones& operator=(const OriginalOutlivesClones&) = delete;
  ~OriginalOutlivesClones() override {
    if (is_original_ && family_.use_count() > 1) std::abort();
  }

 private:
  std::shared_ptr<int> family_ = std::make_shared<int>();
  const bool is_original_ = family_.use_count() == 1;
};

// ---- Masses ---------------------------------------------------------------------------------------------------------

class MassOfCreation : public Faulty<MassOfCreation> {
 public:
  using Faulty::getMass;
  float getMass() const noexcept override { return mass_; }

 private:
  float mass_ = real().getMass();
};

class NoBodyWeighsAll : public Faulty<NoBodyWeighsAll> {
 public:
  float getPartialMass(unsigned long b) const noexcept override { return b < 25 ? real().getPartialMass(b) : 0; }
};

class MassesOfItsOwn : public Faulty<MassesOfItsOwn> {
 public:
  MassesOfItsOwn() {
    for (unsigned long b = 0; b < 25; ++b) masses_[b] = real().getMass(b);
  }
  using Faulty::getMass;
  void setBodyInertia(unsigned long b, float mass, const Position& com, const Eigen::Matrix3f& I) noexcept override {
    real().setBodyInertia(b, mass, com, I);
    masses_[b] = mass;
  }
  float getMass(unsigned long b) const noexcept override { return masses_[b]; }

 private:
  std::array<float, 25> masses_{};
};

/// The mass matrix is computed once for each joint pass.
class CachedMassMatrix : public Faulty<CachedMassMatrix> {
 public:
  void computeFwdKinematicsExceptRoot() noexcept override {
    real().computeFwdKinematicsExceptRoot();
    is_current_ = false;
  }
  void computeInverseDynamics() noexcept override {
    real().computeInverseDynamics();
    is_current_ = false;
  }
  void computeGeneralizedMass() noexcept override {
    if (!is_current_) real().computeGeneralizedMass();
    is_current_ = true;
  }

 private:
  bool is_current_ = false;
};

class BothTriangles : public Faulty<BothTriangles> {
 public:
  void setBodyInertia(unsigned long b, float mass, const Position& com, const Eigen::Matrix3f& I) noexcept override {
    real().setBodyInertia(b, mass, com, (I + I.transpose()) / 2);
  }
};

// ---- Computations ---------------------------------------------------------------------------------------------------

void computeMore(Forwarder& robot) { robot.real().computeGeneralizedMass(); }

class Ageing : public Faulty<Ageing> {
 public:
  void computeInverseDynamics() noexcept override {
    real().computeInverseDynamics();
    if (is_used_) torque(7) = std::nextafter(torque(7), 0.0F);
    is_used_ = true;
  }

 private:
  bool is_used_ = false;
};

/// Inverse dynamics leaves the joint pass as it was.
class TorquesAside : public Faulty<TorquesAside> {
 public:
  void computeInverseDynamics() noexcept override {
    const auto aside = real().clone();
    aside->computeInverseDynamics();
    for (unsigned long j = 0; j < 24; ++j) torque(j) = aside->getJointAngleTorque(j);
  }
};

class NoBodyClearsJacobian : public Faulty<NoBodyClearsJacobian> {
 public:
  void computePartialComJacobian(unsigned long b, ComJacobian& J) override {
    if (b >= 25) J.setZero();
    real().computePartialComJacobian(b, J);
  }
};

class NoBodyLeavesRoot : public Faulty<NoBodyLeavesRoot> {
 public:
  Position computePartialComPositionInRoot(unsigned long b) noexcept override {
    return b == 0 || b >= 25 ? real().getComPositionInRoot() : real().computePartialComPositionInRoot(b);
  }
};

class NewStorage : public Faulty<NewStorage> {
 public:
  void computePartialComJacobian(unsigned long b, ComJacobian& J) override {
    ComJacobian made;
    real().computePartialComJacobian(b, made);
    if (b < 25) made.swap(J);
  }
};

}  // namespace

Faults stateFaults() {
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
      {"wrenches are used up", make<Spoilt<After::torques, useWrenchesUp>>},
      {"torques refresh poses", make<Spoilt<After::torques, refreshPoses>>},
      {"volatile frame follows the root", make<Spoilt<After::only_root, moveVolatileFrame>>},
      {"clone without wrenches", make<CloneWithoutWrenches>},
      {"clone without past", make<CloneWithoutPast>},
      {"clone shares a pose", make<CloneSharesVolatilePose>},
      {"objects share a pose", make<ObjectsShareVolatilePose>},
      {"original must outlive clones", make<OriginalOutlivesClones>},
      {"mass of creation", make<MassOfCreation>},
      {"without no body nothing is left", make<NoBodyWeighsAll>},
      {"masses of its own", make<MassesOfItsOwn>},
      {"mass matrix is cached", make<CachedMassMatrix>},
      {"both triangles are read", make<BothTriangles>},
      {"computes more", make<Spoilt<After::except_root, computeMore>>},
      {"ageing", make<Ageing>},
      {"torques aside", make<TorquesAside>},
      {"no body clears the jacobian", make<NoBodyClearsJacobian>},
      {"no body stays in the root", make<NoBodyLeavesRoot>},
      {"new storage", make<NewStorage>},
  };
}

}  // namespace korvel::faulty
