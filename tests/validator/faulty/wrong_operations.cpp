#include <cmath>
#include <new>
#include <numeric>
#include <stdexcept>

#include "tests/validator/faulty/fault.h"

namespace korvel::faulty {
namespace {

/// One operation is wrong, the one that the wanted fault names.
class WrongOperation : public Faulty<WrongOperation> {
 public:
  WrongOperation() {
    if (is_wanted("starts bent")) real().setJointAnglePos(3, 0.1F);
    if (is_wanted("starts loaded")) real().setExternalWrench(7, {1, 1, 1, 0, 0, 0});
  }
  std::unique_ptr<RigidBodySystem> clone() const override {
    if (is_wanted("clone throws")) throw_odd_text();
    void* volatile scratch = is_wanted("clone leaks") ? operator new(24) : nullptr;
    try {
      auto made = Faulty::clone();
      operator delete(scratch);
      if (is_wanted("clone without wrenches")) drop_wrenches(*made);
      return made;
    } catch (const std::bad_alloc&) {
      if (is_wanted("clone returns nothing")) return nullptr;
      if (is_wanted("clone throws another exception")) throw std::runtime_error("no memory");
      throw;
    }
  }

  unsigned long getNbVolatileFrames() const noexcept override {
    return is_wanted("no volatile frame") ? 0 : real().getNbVolatileFrames();
  }
  unsigned long getJointAngleId(const std::string& name) const override {
    return real().getJointAngleId(name) + (is_wanted("ids off by one") ? 1 : 0);
  }
  unsigned long getBodyId(const std::string& name) const override try {
    return real().getBodyId(is_wanted("names end at a null character") ? name.c_str() : name);
  } catch (const std::out_of_range&) {
    if (is_wanted("other words")) throw std::out_of_range("unknown body");
    throw;
  }

  void setBodyInertia(unsigned long b, float mass, const Position& com, const Eigen::Matrix3f& I) noexcept override {
    Eigen::Matrix3f given = I;
    if (is_wanted("both triangles are read")) given = (I + I.transpose()) / 2;
    if (is_wanted("inertias without products")) given = Eigen::Vector3f(I.diagonal()).asDiagonal();
    if (is_wanted("inertias about the origin")) {
      const Eigen::Vector3f c(com.x, com.y, com.z);
      given -= mass * (c.squaredNorm() * Eigen::Matrix3f::Identity() - c * c.transpose());
    }
    real().setBodyInertia(b, mass, com, given);
  }
  float getPartialMass(unsigned long b) const noexcept override {
    const bool is_nothing = b >= getNbBodies() && is_wanted("without no body nothing is left");
    return is_nothing ? 0 : real().getPartialMass(b);
  }

  void setRootPose(const Transform& pose) noexcept override {
    QZ::Math::Position6D p = QZ::Math::position6DFromTransform(pose);
    for (float* angle : {&p.ax, &p.ay, &p.az}) *angle = std::round(*angle * 1024) / 1024;
    real().setRootPose(is_wanted("coarse angles") ? QZ::Math::transformFromPosition6D(p) : pose);
    if (is_wanted("bodies follow the root at once")) real().computeFwdKinematicsOnlyRoot();
  }
  Six getRootVelocity() const noexcept override {
    Six v = real().getRootVelocity();
    if (is_wanted("one ulp off")) v.wz = std::nextafter(v.wz, 0.0F);
    return v;
  }
  void setJointAnglesAcc(const JointValues& values) noexcept override {
    const auto joints = static_cast<Eigen::Index>(getNbJointAngles());
    real().setJointAnglesAcc(is_wanted("last values instead of first") ? values.tail(joints) : values.head(joints));
  }
  float getJointAngleVel(unsigned long j) const noexcept override {
    return is_wanted("swapped rates") ? real().getJointAngleAcc(j) : real().getJointAngleVel(j);
  }
  float getJointAngleAcc(unsigned long j) const noexcept override {
    return is_wanted("swapped rates") ? real().getJointAngleVel(j) : real().getJointAngleAcc(j);
  }
  tesk::FloatRange getJointAnglesVel() const noexcept override {
    const tesk::FloatRange all = real().getJointAnglesVel();
    return {all.first, is_wanted("short view") ? all.last - 1 : all.last};
  }
  void setExternalWrench(unsigned long b, const Wrench& w) noexcept override {
    if (is_wanted("moment before force")) return real().setExternalWrench(b, {w[3], w[4], w[5], w[0], w[1], w[2]});
    real().setExternalWrench(b, w);
  }
  void setExternalWrench(unsigned long b, const Wrench& wrench, Transform frame) noexcept override {
    if (is_wanted("no lever arm")) frame.tx = frame.ty = frame.tz = 0;
    real().setExternalWrench(b, wrench, frame);
  }

  void computePartialComJacobian(unsigned long b, ComJacobian& J) override {
    if (is_wanted("computePartialComJacobian throws")) throw_odd_text();
    const bool is_body = b < getNbBodies();
    if (is_wanted(is_body ? "jacobian is lost" : "no body clears the jacobian")) J.setZero();
    ComJacobian old;  // keeps its storage until the new one is made
    if (is_body && is_wanted("new storage")) old.swap(J);
    real().computePartialComJacobian(b, J);
    if (is_body && is_wanted("divided by the mass")) J /= getPartialMass(b);
  }
  Position computePartialComPositionInRoot(unsigned long b) noexcept override {
    const bool is_other = b > 0 && b < getNbBodies();
    return is_other || !is_wanted("no body stays in the root") ? real().computePartialComPositionInRoot(b)
                                                               : real().getComPositionInRoot();
  }
  /// Leaves the joint pass as it was, if that is the fault.
  void computeInverseDynamics() noexcept override {
    if (!is_wanted("torques aside")) return real().computeInverseDynamics();
    const auto aside = real().clone();
    aside->computeInverseDynamics();
    for (unsigned long j = 0; j < getNbJointAngles(); ++j) torque(j) = aside->getJointAngleTorque(j);
  }
  float getJointAngleTorque(unsigned long j) const noexcept override {
    const float torque = real().getJointAngleTorque(j);
    const bool is_off = j == getNbJointAngles() - 1 && is_wanted("a torque one ulp off");
    return is_off ? std::nextafter(torque, 0.0F) : torque;
  }

  const Transform& getPose(unsigned long b) const noexcept override {
    return real().getPose(b == ~0UL && is_wanted("no body is the root") ? 0 : b);
  }
  const Transform& getVolatilePose(unsigned long v) const noexcept override {
    return is_wanted("objects share a pose") ? shared_pose() : real().getVolatilePose(v);
  }
  void setVolatilePose(unsigned long v, const Transform& pose) noexcept override {
    real().setVolatilePose(v, pose);
    shared_pose() = pose;
  }

  TopologyVector getParentsVector() const override {
    if (is_wanted("getParentsVector throws")) throw_odd_text();
    TopologyVector parents = real().getParentsVector();
    if (is_wanted("parent after child")) parents[5] = 7;
    return parents;
  }
  TopologyVector getDofNumbersVector() const override {
    if (is_wanted("getDofNumbersVector throws")) throw_odd_text();
    return real().getDofNumbersVector();
  }
  TopologyVector getDofIndexesVector() const override {
    if (is_wanted("getDofIndexesVector throws")) throw_odd_text();
    TopologyVector indexes = real().getDofIndexesVector();
    if (is_wanted("indexes of bodies for those of coordinates")) std::iota(indexes.begin(), indexes.end(), 0);
    return indexes;
  }

 private:
  static Transform& shared_pose() {
    static Transform pose;
    return pose;
  }
};

}  // namespace

tesk::RigidBodySystem* make_wrong_operation() { return new WrongOperation; }

}  // namespace korvel::faulty
