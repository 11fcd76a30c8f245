#include "record/recorded_system.h"

tesk::RigidBodySystem* create() { return new korvel::record::RecordedSystem(korvel::record::Recorder::get().create()); }

void destroy(tesk::RigidBodySystem* system) noexcept { delete system; }
