#include <malloc.h>

#include <algorithm>
#include <string>

#include "support/expect.h"
#include "support/robot_table.h"

namespace korvel::tests {
namespace {

TEST(Loading, ManyCyclesKeepMemoryAndStartFromTheFactoryInertias) {
  const float factory_mass = robot_table()[3].inertia.m;
  float total = 0;
  for (const auto& body : robot_table()) total += body.inertia.m;
  // What a process is counted by may differ by a little, whenever; what is lost in each cycle adds up.
  [[maybe_unused]] std::size_t most_blocks = 0;
  [[maybe_unused]] unsigned long most_pages = 0;
  for (int cycle = 0; cycle < 1000; ++cycle) {
    const Module module(module_path());
    const System robot = module.create();
    ASSERT_EQ(robot->getMass(3), factory_mass);
    ASSERT_EQ(robot->getMass(), total);
    robot->setBodyInertia(3, 7, {}, Eigen::Matrix3f::Zero());
#ifndef KORVEL_SANITIZED  // a sanitizer keeps freed blocks for a while
    const std::size_t blocks = mallinfo2().uordblks;
    const unsigned long pages = std::stoul(text_of("/proc/self/statm"));
    if (cycle < 200) {
      most_blocks = std::max(most_blocks, blocks);
      most_pages = std::max(most_pages, pages);
    } else if (cycle >= 900 && blocks <= most_blocks && pages <= most_pages) {
      break;
    }
    ASSERT_LT(cycle, 999) << blocks << " bytes, " << most_blocks << " at first; " << pages << " pages, " << most_pages;
#endif
  }
}

}  // namespace
}  // namespace korvel::tests
