// Loads the module, bends a knee, and prints mass, centre of mass and knee torque. Usage: minimal_host MODULE

#include <dlfcn.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

#include "plugin/rigid_body_system.h"

template <typename Function>
Function* find(void* module, const char* name) {
  void* symbol = dlsym(module, name);
  if (symbol == nullptr) throw std::runtime_error(dlerror());
  return reinterpret_cast<Function*>(symbol);
}

int main(int argc, char** argv) try {
  if (argc != 2) throw std::runtime_error("usage: minimal_host MODULE");
  const std::unique_ptr<void, int (*)(void*)> module(dlopen(argv[1], RTLD_NOW | RTLD_LOCAL), dlclose);
  if (module == nullptr) throw std::runtime_error(dlerror());
  // The robot must be destroyed before the module is closed, so it is declared after the module.
  const std::unique_ptr<tesk::RigidBodySystem, decltype(&destroy)> robot(
      find<decltype(create)>(module.get(), "create")(), find<decltype(destroy)>(module.get(), "destroy"));

  Eigen::ArrayXf angles = Eigen::ArrayXf::Zero(static_cast<Eigen::Index>(robot->getNbJointAngles()));
  const unsigned long knee = robot->getJointAngleId("LKneePitch");
  angles[static_cast<Eigen::Index>(knee)] = 0.5F;

  robot->setJointAnglesPos(angles);  // the control cycle: set, compute, read
  robot->computeFwdKinematics();
  robot->computeInverseDynamics();
  const QZ::Math::Position3D& com = robot->getComPosition();
  std::printf("%lu bodies, %g kg\n", robot->getNbBodies(), static_cast<double>(robot->getMass()));
  std::printf("centre of mass %g %g %g m\n", static_cast<double>(com.x), static_cast<double>(com.y),
              static_cast<double>(com.z));
  std::printf("torque of the knee %g N m\n", static_cast<double>(robot->getJointAngleTorque(knee)));
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
