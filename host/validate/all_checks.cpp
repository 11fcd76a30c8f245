#include "host/validate/all_checks.h"

#include "host/validate/fuzz/fuzz.h"
#include "host/validate/laws/laws.h"
#include "host/validate/loading/loading.h"
#include "host/validate/real_time/real_time.h"
#include "host/validate/state/state.h"

namespace korvel::validate {

Checks all_checks() { return joined({loading_checks, state_checks, law_checks, real_time_checks, fuzz_checks}); }

}  // namespace korvel::validate
