#include "record/inputs.h"

namespace korvel::record {

Inputs::Inputs(const RobotSize& size)
    : bodies_(static_cast<std::size_t>(size.bodies)),
      frames_(static_cast<std::size_t>(size.volatile_frames)),
      values_(of_the_root + frames_ + bodies_) {
  for (Joints& joints : joints_) joints.values.resize(static_cast<std::size_t>(size.joints));
}

}  // namespace korvel::record
