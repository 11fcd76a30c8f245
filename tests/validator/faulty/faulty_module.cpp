// A module with one fault, which the environment names.

#include <cstdlib>

#include "metapod/models/korvel/korvel.h"
#include "plugin/dynamics.h"
#include "plugin/inputs.h"
#include "plugin/kinematics.h"
#include "plugin/state.h"
#include "tests/validator/faulty/fault.h"

namespace korvel::faulty {

std::unique_ptr<tesk::RigidBodySystem> sound() {
  return std::make_unique<tesk::MetapodRigidBodySystem<metapod::korvel>>();
}

}  // namespace korvel::faulty

tesk::RigidBodySystem* create() {
  using namespace korvel::faulty;
  if (std::getenv("KORVEL_FAULT") == nullptr) return make<Sound>();
  for (const auto& faults : {loading_faults, state_faults, object_faults, law_faults, real_time_faults}) {
    for (const auto& [name, create] : faults()) {
      if (is_wanted(name)) return create();
    }
  }
  return make_wrong_operation();
}

void destroy(tesk::RigidBodySystem* system) noexcept { delete system; }
