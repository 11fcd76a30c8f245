#include "host/module.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <vector>

namespace korvel::host {
namespace {

bool isLoaded() {
  void* library = dlopen(KORVEL_MODULE, RTLD_NOW | RTLD_NOLOAD);
  if (library == nullptr) return false;
  dlclose(library);
  return true;
}

TEST(Module, IsUnloadedAfterTheLastObject) {
  ASSERT_FALSE(isLoaded());
  std::vector<System> systems;
  {
    const Module module(KORVEL_MODULE);
    systems.push_back(module.create());
    systems.push_back(module.create());
  }
  systems.pop_back();
  ASSERT_TRUE(isLoaded());
  EXPECT_GT(systems.front()->getMass(), 0);
  systems.clear();
  EXPECT_FALSE(isLoaded());
}

}  // namespace
}  // namespace korvel::host
