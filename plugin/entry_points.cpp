#include "metapod/models/korvel/korvel.h"
#include "plugin/dynamics.h"
#include "plugin/inputs.h"
#include "plugin/kinematics.h"
#include "plugin/metapod_rigid_body_system.h"
#include "plugin/state.h"

namespace tesk {

template class MetapodRigidBodySystem<metapod::korvel>;

}  // namespace tesk

tesk::RigidBodySystem* create() { return new tesk::MetapodRigidBodySystem<metapod::korvel>; }

void destroy(tesk::RigidBodySystem* system) noexcept { delete system; }
