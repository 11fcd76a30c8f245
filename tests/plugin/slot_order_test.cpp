/// The interface once more, as a host that was compiled long ago knows it: no header of this project is included, and
/// each operation is reached by its position. A test that calls a position expects the effect of the name.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <Eigen/Core>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace QZ::Math {
struct Position3D {
  float v[3];
};
struct Transform {
  float v[12];
};
struct Velocity6D {
  float v[6];
};
}  // namespace QZ::Math

namespace tesk {

struct FloatRange {
  const float *first, *last;
};
using Velocity = QZ::Math::Velocity6D;
using Pose = QZ::Math::Transform;
using Point = QZ::Math::Position3D;
using Values = Eigen::Ref<const Eigen::ArrayXf>;
using Index = unsigned long;
using Wrench = std::vector<float>;
using Integers = std::vector<std::int64_t>;

class RigidBodySystem {
 public:
  virtual ~RigidBodySystem() = default;
  virtual std::unique_ptr<RigidBodySystem> clone() const = 0;
  virtual std::string getName() const = 0;
  virtual Index getNbJointAngles() const = 0, getNbBodies() const = 0, getNbVolatileFrames() const = 0;
  virtual const std::string &getRootName() const = 0, &getJointAngleName(Index) const = 0;
  virtual Index getJointAngleId(const std::string&) const = 0;
  virtual const std::string& getBodyName(Index) const = 0;
  virtual Index getBodyId(const std::string&) const = 0;
  virtual void setBodyInertia(Index, float, const Point&, const Eigen::Matrix3f&) = 0;
  virtual float getMass() const = 0, getPartialMass(Index) const = 0, getBodyMass(Index) const = 0;
  virtual void setRootPose(const Pose&) = 0;
  virtual const Pose& getRootPose() const = 0;
  virtual void setRootVelocity(const Velocity&) = 0, setRootAcceleration(const Velocity&) = 0;
  virtual Velocity getRootVelocity() const = 0, getRootAcceleration() const = 0;
  virtual void setJointAnglesPos(const Values&) = 0, setJointAnglesVel(const Values&) = 0,
                                       setJointAnglesAcc(const Values&) = 0;
  virtual void setJointAnglePos(Index, float) = 0, setJointAngleVel(Index, float) = 0,
                                       setJointAngleAcc(Index, float) = 0;
  virtual float getJointAnglePos(Index) const = 0, getJointAngleVel(Index) const = 0, getJointAngleAcc(Index) const = 0;
  virtual FloatRange getJointAnglesPos() const = 0, getJointAnglesVel() const = 0, getJointAnglesAcc() const = 0;
  virtual void setExternalWrench(Index, const Wrench&) = 0, setFramedWrench(Index, const Wrench&, Pose) = 0;
  virtual void computeFwdKinematicsExceptRoot() = 0, computeFwdKinematicsOnlyRoot() = 0, computeFwdKinematics() = 0;
  virtual void computeGeneralizedMass() = 0;
  virtual void computePartialComJacobian(Index, Eigen::Matrix<float, 3, Eigen::Dynamic>&) = 0;
  virtual Point computePartialComPositionInRoot(Index) = 0;
  virtual const Pose &getPoseInRoot(Index) const = 0, &getPose(Index) const = 0;
  virtual void setPose(Index, const Pose&) = 0;
  virtual const Pose& getVolatilePose(Index) const = 0;
  virtual void setVolatilePose(Index, const Pose&) = 0;
  virtual Point getBodyComPosition(Index) const = 0;
  virtual const Point &getComPositionInRoot() const = 0, &getComPosition() const = 0;
  virtual const Eigen::MatrixXf& getGeneralizedMass() const = 0;
  virtual const Eigen::Matrix<float, 6, Eigen::Dynamic>& getJacobianInRoot() const = 0;
  virtual Integers getParentsVector() const = 0, getDofNumbersVector() const = 0, getDofIndexesVector() const = 0;
  virtual void computeInverseDynamics() = 0;
  virtual float getJointAngleTorque(Index) const = 0;
  virtual FloatRange getJointAnglesTorque() const = 0;
};

namespace {

class SlotOrder : public testing::Test {
 protected:
  SlotOrder() : library_(dlopen(KORVEL_MODULE, RTLD_NOW | RTLD_LOCAL), dlclose) {
    robot.reset(reinterpret_cast<RigidBodySystem* (*)()>(dlsym(library_.get(), "create"))());
  }

  /// A pose at x = 1, y = 2, z = 3, turned a quarter about z.
  static constexpr Pose quarter{{0, -1, 0, 1, 1, 0, 0, 2, 0, 0, 1, 3}};

  template <typename T>
  static std::vector<float> list(const T& value) {
    return {value.v, value.v + sizeof(value) / sizeof(float)};
  }
  static std::vector<float> list(const FloatRange& range) { return {range.first, range.last}; }
  /// World height of a body's origin.
  float height(Index b) const { return robot->getPose(b).v[11]; }

 private:
  std::unique_ptr<void, int (*)(void*)> library_;

 protected:
  std::unique_ptr<RigidBodySystem> robot;  // ended through the deleting destructor's slot
};

TEST_F(SlotOrder, Queries) {
  EXPECT_EQ(robot->getName(), "");
  EXPECT_EQ(robot->getNbJointAngles(), 24U);
  EXPECT_EQ(robot->getNbBodies(), 25U);
  EXPECT_EQ(robot->getNbVolatileFrames(), 1U);
  EXPECT_EQ(robot->getRootName(), "Torso");
  EXPECT_EQ(robot->getJointAngleName(1), "HeadPitch");
  EXPECT_EQ(robot->getBodyName(1), "HeadYaw");
  EXPECT_EQ(robot->getJointAngleId("HeadPitch"), 1U);
  EXPECT_EQ(robot->getBodyId("HeadPitch"), 2U);
  EXPECT_EQ(robot->getParentsVector()[3], 0);
  EXPECT_EQ(robot->getDofNumbersVector()[3], 1);
  EXPECT_EQ(robot->getDofIndexesVector()[3], 8);
}

TEST_F(SlotOrder, MassesAndClone) {
  const float total = robot->getMass();
  robot->setBodyInertia(2, 1, {{0, 0, 0}}, Eigen::Matrix3f::Zero());
  EXPECT_EQ(robot->getBodyMass(2), 1);
  EXPECT_EQ(robot->getPartialMass(2), robot->getMass() - 1);
  EXPECT_GT(robot->getMass(), total);
  robot->setJointAnglePos(2, 7);
  const auto copy = robot->clone();
  robot->setJointAnglePos(2, 8);
  EXPECT_EQ(copy->getJointAnglePos(2), 7);
}

TEST_F(SlotOrder, RootAndJointInputs) {
  robot->setRootPose(quarter);
  EXPECT_EQ(&robot->getRootPose(), &robot->getPose(0));
  EXPECT_EQ(height(0), 3);
  robot->setRootVelocity({{1, 2, 3, 4, 5, 6}});
  robot->setRootAcceleration({{11, 12, 13, 14, 15, 16}});
  // Each list differs in one place of its own from what was written as a whole. Two lists are longer than what is read
  // of them: the rest would get into the root's rates.
  robot->setJointAnglesAcc(Eigen::ArrayXf::Constant(24, 3));
  robot->setJointAnglesVel(Eigen::ArrayXf::Constant(30, 2));
  robot->setJointAnglesPos(Eigen::ArrayXf::Constant(30, 1));
  EXPECT_EQ(list(robot->getRootVelocity()), (std::vector<float>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(list(robot->getRootAcceleration()), (std::vector<float>{11, 12, 13, 14, 15, 16}));
  robot->setJointAnglePos(0, 10);
  robot->setJointAngleVel(1, 20);
  robot->setJointAngleAcc(2, 30);
  const FloatRange lists[] = {robot->getJointAnglesPos(), robot->getJointAnglesVel(), robot->getJointAnglesAcc()};
  for (int k = 0; k < 3; ++k) {
    std::vector<float> expected(24, static_cast<float>(k + 1));
    expected[static_cast<Index>(k)] *= 10;
    EXPECT_EQ(list(lists[k]), expected);
  }
  EXPECT_EQ(robot->getJointAnglePos(0), 10);
  EXPECT_EQ(robot->getJointAngleVel(1), 20);
  EXPECT_EQ(robot->getJointAngleAcc(2), 30);
}

TEST_F(SlotOrder, Kinematics) {
  robot->computeFwdKinematics();
  const float hand = height(7);
  EXPECT_GT(hand, 0);
  EXPECT_EQ(robot->getPoseInRoot(7).v[11], hand);
  robot->setRootPose(quarter);
  robot->computeFwdKinematicsOnlyRoot();
  EXPECT_FLOAT_EQ(height(7), hand + 3);
  EXPECT_EQ(robot->getPoseInRoot(7).v[11], hand);
  robot->setJointAnglePos(2, -1.5F);  // lifts the left arm
  robot->computeFwdKinematicsExceptRoot();
  EXPECT_GT(robot->getPoseInRoot(7).v[11], hand + 0.1F);
  EXPECT_FLOAT_EQ(height(7), hand + 3);

  EXPECT_LT(robot->getComPositionInRoot().v[2], 1);
  EXPECT_GT(robot->getComPosition().v[2], 2);
  EXPECT_NE(robot->getBodyComPosition(7).v[2], robot->getBodyComPosition(0).v[2]);
  EXPECT_GT(robot->computePartialComPositionInRoot(13).v[2], robot->getComPositionInRoot().v[2]);  // without a foot
  EXPECT_EQ(robot->getJacobianInRoot().rows(), 6);
  robot->setPose(4, quarter);
  robot->setVolatilePose(0, {{9}});
  EXPECT_EQ(list(robot->getPose(4)), list(quarter));
  EXPECT_EQ(robot->getVolatilePose(0).v[0], 9);
}

TEST_F(SlotOrder, Dynamics) {
  robot->computeInverseDynamics();
  const float resting = robot->getJointAngleTorque(2);
  EXPECT_EQ(robot->getGeneralizedMass()(0, 0), 0);
  robot->computeGeneralizedMass();
  EXPECT_FLOAT_EQ(robot->getGeneralizedMass()(0, 0), robot->getMass());
  Eigen::Matrix<float, 3, Eigen::Dynamic> J;
  robot->computePartialComJacobian(0, J);
  EXPECT_FLOAT_EQ(J(0, 0), robot->getPartialMass(0));

  robot->setExternalWrench(3, {0, 0, 0, 0, 0, 1});
  robot->computeInverseDynamics();
  EXPECT_FLOAT_EQ(robot->getJointAngleTorque(2), resting - 1);
  robot->setFramedWrench(3, {0, 0, 0, 1, 0, 0}, {{0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0}});  // turns x into z
  robot->computeInverseDynamics();
  EXPECT_FLOAT_EQ(robot->getJointAngleTorque(2), resting - 1);
  EXPECT_EQ(list(robot->getJointAnglesTorque())[2], robot->getJointAngleTorque(2));
  robot->setJointAngleAcc(2, 1);
  robot->computeInverseDynamics();
  EXPECT_GT(robot->getJointAngleTorque(2), resting - 1);
}

}  // namespace

}  // namespace tesk
