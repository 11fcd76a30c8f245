/// Eight threads compute on an object each, as the interface allows. For tools/sanitizers, which watches.
///
/// Usage: own_objects MODULE [--change-inertia]; MODULE is a path with a slash. With the option a ninth object
/// changes an inertia meanwhile: a data race on what all objects share, which the interface forbids.

#include <cstdio>
#include <string_view>
#include <thread>

#include "contract/states.h"
#include "support/module.h"

namespace {

using namespace korvel;

constexpr unsigned long objects = 8;
constexpr unsigned long states = 10;

void load_compute_unload(const char* path, bool change_inertia) {
  const tests::Module module(path);
  const tests::System other = module.create();
  std::vector<tests::System> robots;
  for (unsigned long i = 0; i < objects; i += 2) {
    robots.push_back(module.create());
    robots.emplace_back(robots.back()->clone().release(), module.destroy());
  }

  std::vector<std::thread> threads;
  for (unsigned long i = 0; i < objects; ++i) {
    threads.emplace_back([&robot = *robots[i], i] {
      tesk::RigidBodySystem::ComJacobian jacobian;
      for (unsigned long seed = i * states; seed < (i + 1) * states; ++seed) {
        compute(random_state(seed, robot), robot);
        robot.computePartialComPositionInRoot(seed % robot.getNbBodies());
        robot.computePartialComJacobian(seed % robot.getNbBodies(), jacobian);
      }
    });
  }
  if (change_inertia) other->setBodyInertia(3, 1, {}, Eigen::Matrix3f::Identity());
  for (std::thread& thread : threads) thread.join();
}

}  // namespace

int main(int argc, char** argv) try {
  const bool change_inertia = argc == 3 && argv[2] == std::string_view("--change-inertia");
  if (argc != 2 && !change_inertia) throw std::invalid_argument("usage: own_objects MODULE [--change-inertia]");
  for (int load = 0; load < 3; ++load) load_compute_unload(argv[1], change_inertia);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "own_objects: %s\n", error.what());
  return 1;
}
