#include "host/module.h"

#include <csv.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <vector>

#include "host/error.h"
#include "tests/host/files.h"

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

std::string loadError(const std::filesystem::path& path) {
  try {
    Module{path};
  } catch (const Error& error) {
    return error.what();
  }
  return {};
}

// The text names the file and ends with what the loader says about it.
TEST(Module, FailureIsToldInTheLoadersWords) {
  const TemporaryDirectory directory;
  const std::filesystem::path text = write(directory / "module.so", std::string(100, 'x'));
  Dl_info without_entry_points;
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&csv_init), &without_entry_points), 0);

  const std::pair<std::filesystem::path, const char*> cases[] = {
      {directory / "none.so", "No such file"},
      {text, "invalid ELF header"},
      {without_entry_points.dli_fname, "undefined symbol: create"},
      // In the working directory, never in the loader's search path.
      {"libm.so.6", "No such file"},
  };
  for (const auto& [path, words] : cases) {
    const std::string error = loadError(path);
    EXPECT_NE(error.find(path.string()), std::string::npos) << error;
    EXPECT_NE(error.find(words), std::string::npos) << error;
  }
}

}  // namespace
}  // namespace korvel::host
