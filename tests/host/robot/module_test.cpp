#include "host/robot/module.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <vector>

namespace korvel::host {
namespace {

bool is_loaded() {
  void* library = dlopen(KORVEL_MODULE, RTLD_NOW | RTLD_NOLOAD);
  if (library == nullptr) return false;
  dlclose(library);
  return true;
}

TEST(Module, IsUnloadedAfterTheLastObject) {
  ASSERT_FALSE(is_loaded());
  std::vector<System> systems;
  {
    const Module module(KORVEL_MODULE);
    systems.push_back(module.create());
    systems.push_back(module.create());
  }
  systems.pop_back();
  ASSERT_TRUE(is_loaded());
  EXPECT_GT(systems.front()->getMass(), 0);
  systems.clear();
  EXPECT_FALSE(is_loaded());
}

}  // namespace
}  // namespace korvel::host
