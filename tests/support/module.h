#pragma once

#include <dlfcn.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "plugin/rigid_body_system.h"

namespace korvel::tests {

using System = std::unique_ptr<tesk::RigidBodySystem, void (*)(tesk::RigidBodySystem*) noexcept>;

/// The module under test: the one that was built, or another one that the environment names.
inline const char* module_path() {
  const char* named = std::getenv("KORVEL_MODULE");
  return named != nullptr ? named : KORVEL_MODULE;
}

/// The module, loaded the way a host loads it; unloaded with this handle. Systems must be gone by then.
class Module {
 public:
  explicit Module(const char* path) : library_(dlopen(path, RTLD_NOW | RTLD_LOCAL), dlclose) {
    if (library_ == nullptr) throw std::runtime_error(dlerror());
  }

  System create() const { return {symbol<tesk::RigidBodySystem* (*)()>("create")(), destroy()}; }
  void (*destroy() const)(tesk::RigidBodySystem*) noexcept { return symbol<System::deleter_type>("destroy"); }

 private:
  template <typename Function>
  Function symbol(const char* name) const {
    return reinterpret_cast<Function>(dlsym(library_.get(), name));
  }

  std::unique_ptr<void, int (*)(void*)> library_;
};

}  // namespace korvel::tests
