// The interface and nothing else, for the description of its binary form that tools/abi compares.

#include "plugin/rigid_body_system.h"

tesk::RigidBodySystem* create() { return nullptr; }

void destroy(tesk::RigidBodySystem* /*system*/) noexcept {}
