#include "plugin/aligned_storage.h"
#include "plugin/dynamics.h"
#include "plugin/inputs.h"
#include "plugin/kinematics.h"
#include "plugin/state.h"
#include "tests/second_robot/digger.h"

namespace {

using korvel::tests::Digger;
using Robot = tesk::MetapodRigidBodySystem<metapod::models::Model<Digger, metapod::models::LimbsInLanes<Digger>>>;

}  // namespace

tesk::RigidBodySystem* create() { return new Robot; }

void destroy(tesk::RigidBodySystem* system) noexcept { delete system; }
