// A module that does not get as far as to make an object.

#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "plugin/rigid_body_system.h"

tesk::RigidBodySystem* create() {
#if defined(FAULT_crash)
  std::abort();
#elif defined(FAULT_hang)
  for (;;) pause();
#elif defined(FAULT_exit)
  std::_Exit(0);
#elif defined(FAULT_throw)
  throw std::runtime_error("out of order");
#endif
}

void destroy(tesk::RigidBodySystem*) noexcept {}
