#include "recorder/module/recorded_system.h"

tesk::RigidBodySystem* create() { return new korvel::record::RecordedSystem; }

void destroy(tesk::RigidBodySystem* system) noexcept { delete system; }
