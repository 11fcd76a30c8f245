#pragma once

#include <vector>

#include "contact/phases.h"
#include "contact/sole.h"

namespace korvel::host {

/// What a robot stands on, and with what.
struct Ground {
  std::vector<contact::Sole> soles;
  double height = 0;  ///< of the level ground in the world [m]
  contact::ContactBounds bounds;
};

}  // namespace korvel::host
