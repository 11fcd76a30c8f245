#include "metapod/models/korvel/korvel.h"
#include "plugin/aligned_storage.h"
#include "plugin/dynamics.h"
#include "plugin/inputs.h"
#include "plugin/kinematics.h"
#include "plugin/metapod_rigid_body_system.h"
#include "plugin/state.h"

namespace {

/// The model that the module computes on: korvel_in_lanes, or korvel to compare with. Results of both are bit-identical
/// except for signs of zeros.
using Model = metapod::KORVEL_MODEL;

}  // namespace

template class tesk::MetapodRigidBodySystem<Model>;

tesk::RigidBodySystem* create() { return new tesk::MetapodRigidBodySystem<Model>; }

void destroy(tesk::RigidBodySystem* system) noexcept { delete system; }
