/// Prints one hash over everything that a module computes for 10,000 states. Usage: bits MODULE, a path with a slash.
/// Equal hashes mean equal bits, zeros of either sign being the same.

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "support/module.h"
#include "support/state.h"

int main(int argc, char** argv) try {
  using namespace korvel::tests;
  if (argc != 2) throw std::invalid_argument("usage: bits MODULE");
  const Module module(argv[1]);
  const System robot = module.create();
  tesk::RigidBodySystem::ComJacobian J;
  std::uint64_t hash = 0xcbf29ce484222325U;  // FNV-1a
  const auto add = [&](float value) {
    std::uint32_t bits = 0;
    if (std::fpclassify(value) != FP_ZERO) std::memcpy(&bits, &value, sizeof(bits));
    for (int byte = 0; byte < 4; ++byte, bits >>= 8) hash = (hash ^ (bits & 0xff)) * 0x100000001b3U;
  };
  for (unsigned long seed = 0; seed < 10000; ++seed) {
    compute(random_state(seed), *robot);
    for (const float value : everything_readable(*robot)) add(value);
    for (unsigned long b = 0; b < 25; ++b) {
      const auto com = robot->computePartialComPositionInRoot(b);
      for (const float value : {com.x, com.y, com.z}) add(value);
    }
    robot->computePartialComJacobian(seed % 25, J);
    for (const float value : J.reshaped()) add(value);
  }
  std::printf("%016" PRIx64 "\n", hash);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "bits: %s\n", error.what());
  return 1;
}
