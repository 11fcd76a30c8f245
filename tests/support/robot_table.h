#pragma once

#include "metapod/models/body_description.h"

namespace korvel::tests {

/// A row of the robot's table.
const metapod::models::BodyDescription& description(int b);

}  // namespace korvel::tests
