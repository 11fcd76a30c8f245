#include "host/validate/real_time/real_time.h"

namespace korvel::validate {

Checks real_time_checks() {
  return joined({side_effect_checks, stack_checks, fault_checks, thread_checks, floating_point_checks});
}

}  // namespace korvel::validate
