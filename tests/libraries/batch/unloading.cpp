// Loads a library for many states, has threads of it compute, and unloads it, again and again; last while there is an
// object whose threads wait.
//
// Usage: unloading LIBRARY
// Exit status: 0 if the process lives on, with the library.

#include <dlfcn.h>

#include <cstdio>
#include <vector>

#include "korvel/batch.h"

int main(int count, char** arguments) {
  constexpr std::ptrdiff_t states = 4096;
  constexpr std::ptrdiff_t size = sizeof(float);
  std::vector<float> q(states * KORVEL_BATCH_COORDINATES);
  std::vector<float> com(3 * states);
  const korvel_batch_input positions{q.data(), KORVEL_BATCH_COORDINATES * size, size, 0};
  korvel_batch_kinematics_results results{};
  results.com_world = {com.data(), 3 * size, size, 0};
  constexpr int rounds = 30;
  for (int round = 1; round <= rounds; ++round) {
    void* library = count == 2 ? dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (library == nullptr) {
      std::fprintf(stderr, "expected a library: %s\n", dlerror());
      return 2;
    }
    const auto create = reinterpret_cast<decltype(&korvel_batch_create)>(dlsym(library, "korvel_batch_create"));
    const auto compute =
        reinterpret_cast<decltype(&korvel_batch_kinematics)>(dlsym(library, "korvel_batch_kinematics"));
    const auto destroy = reinterpret_cast<decltype(&korvel_batch_destroy)>(dlsym(library, "korvel_batch_destroy"));
    static korvel_batch* batch;  // the last one is no leak
    if (create(&batch, 4, nullptr) != 0 || compute(batch, states, &positions, &results) != 0) return 1;
    if (round < rounds) destroy(batch);
    dlclose(library);
  }
  // Without this its threads would wait in code that is gone, and whether that shows is a matter of luck.
  if (dlopen(arguments[1], RTLD_NOW | RTLD_NOLOAD) != nullptr) return 0;
  std::fprintf(stderr, "expected %s to stay loaded\n", arguments[1]);
  return 1;
}
