/// A host that reads, copies and resizes with the Eigen that its flags make. Usage: host MODULE [--mock]
/// Writes what the module computes to the standard output, called by way of a mock if asked for it.

#include <dlfcn.h>

#include <cstdio>

#include "tests/validator/faulty/forwarder.h"

namespace {

void* library = nullptr;

/// The object that a host uses in its tests in place of a module's.
class Mock : public korvel::faulty::Forwarder {
 public:
  std::unique_ptr<RigidBodySystem> clone() const override { return std::make_unique<Mock>(*this); }
#if KORVEL_EIGEN_ALLOCATES
  void computePartialComJacobianOfRightSize(unsigned long b, ComJacobian& J) override {
    ++calls;
    Forwarder::computePartialComJacobianOfRightSize(b, J);
  }
#else
  void computePartialComJacobian(unsigned long b, ComJacobian& J) override {
    ++calls;
    Forwarder::computePartialComJacobian(b, J);
  }
#endif

  int calls = 0;
};

}  // namespace

std::unique_ptr<tesk::RigidBodySystem> korvel::faulty::sound() {
  return std::unique_ptr<tesk::RigidBodySystem>(reinterpret_cast<decltype(&create)>(dlsym(library, "create"))());
}

int main(int argc, char** argv) {
  library = argc >= 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
  if (library == nullptr) return 1;
  const bool mocked = argc == 3;
  const std::unique_ptr<tesk::RigidBodySystem> robot = mocked ? std::make_unique<Mock>() : korvel::faulty::sound();
  robot->setBodyInertia(3, 0.25F, {0, 0.5F, 0}, Eigen::Matrix3f::Identity());

  const auto print = [](const auto& matrix) {
    Eigen::MatrixXf copy;
    copy = matrix;  // in the widest vectors that Eigen has here
    std::fwrite(copy.data(), sizeof(float), static_cast<std::size_t>(copy.size()), stdout);
  };
  std::vector<std::unique_ptr<tesk::RigidBodySystem>> copies;  // many, to see storage at many places
  for (int k = 0; k < 60; ++k) {
    const Eigen::ArrayXf values = Eigen::ArrayXf::LinSpaced(24, -12, 11) * static_cast<float>(k) / 512;
    const auto b = static_cast<unsigned long>(k % 26);  // the last is no body
    robot->setRootPose({});
    robot->setJointAnglesPos(values);
    robot->setJointAnglesVel(values.reverse());  // Eigen copies it first
    robot->setExternalWrench(3, std::vector<float>(6, 0.5F));
    robot->computeFwdKinematics();
    robot->computeGeneralizedMass();
    robot->computeInverseDynamics();
    copies.push_back(robot->clone());
    print(copies.back()->getGeneralizedMass());
    print(copies.back()->getJacobianInRoot());
    print(Eigen::Map<const Eigen::VectorXf>(robot->getJointAnglesTorque().begin(), 24));

    tesk::RigidBodySystem::ComJacobian J = Eigen::MatrixXf::Ones(3, k);  // none, narrower, right, wider
    robot->computePartialComJacobian(b, J);
    print(J);
    J.resize(3, 60 - k);
  }
  return mocked && static_cast<Mock&>(*robot).calls != 60;
}
