#include <malloc.h>

#include "support/expect.h"

namespace korvel::tests {
namespace {

constexpr float factory_mass = 0.09304F;  // of body 3

TEST(Loading, ManyCyclesKeepMemoryAndStartFromTheFactoryInertias) {
  std::pair<std::size_t, std::string> start;
  for (int cycle = 0; cycle < 1000; ++cycle) {
    const Module module(module_path());
    const System robot = module.create();
    ASSERT_EQ(robot->getMass(3), factory_mass);
    ASSERT_EQ(robot->getMass(), 5.3053503F);
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
