#include "support/expect.h"

namespace korvel::tests {
namespace {

constexpr float factory_mass = 0.09304F;  // of body 3

TEST(Loading, ClosingUnmaps) {
  const auto is_mapped = [] { return text_of("/proc/self/maps").find(module_path()) != std::string::npos; };
  ASSERT_FALSE(is_mapped());
  {
    const Module module(module_path());
    EXPECT_TRUE(is_mapped());
  }
  EXPECT_FALSE(is_mapped());
}

TEST(Loading, TwoCopiesOfTheModuleShareNothing) {
  const std::string path = testing::TempDir() + "korvel_copy.so";
  std::ofstream(path, std::ios::binary) << text_of(module_path());
  const Module one(module_path());
  const Module two(path.c_str());
  std::remove(path.c_str());
  const System robot = one.create();
  const System other = two.create();
  robot->setBodyInertia(3, 7, {}, Eigen::Matrix3f::Zero());
  EXPECT_EQ(other->getMass(3), factory_mass);
  EXPECT_EQ(other->getMass(), 5.3053503F);
}

}  // namespace
}  // namespace korvel::tests
