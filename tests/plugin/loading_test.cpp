#include <malloc.h>

#include "support/expect.h"
#include "support/robot_table.h"

namespace korvel::tests {
namespace {

TEST(Loading, ManyCyclesKeepMemoryAndStartFromTheFactoryInertias) {
  const float factory_mass = robot_table()[3].inertia.m;
  float total = 0;
  for (const auto& body : robot_table()) total += body.inertia.m;
  std::pair<std::size_t, std::string> start;
  for (int cycle = 0; cycle < 1000; ++cycle) {
    const Module module(module_path());
    const System robot = module.create();
    ASSERT_EQ(robot->getMass(3), factory_mass);
    ASSERT_EQ(robot->getMass(), total);
    robot->setBodyInertia(3, 7, {}, Eigen::Matrix3f::Zero());
#ifndef KORVEL_SANITIZED  // a sanitizer keeps freed blocks for a while
    const std::string pages = text_of("/proc/self/statm");
    const std::pair now(mallinfo2().uordblks, pages.substr(0, pages.find(' ')));
    if (cycle == 100) start = now;  // the allocator has filled its caches
    ASSERT_TRUE(cycle < 999 || now == start);
#endif
  }
}

}  // namespace
}  // namespace korvel::tests
