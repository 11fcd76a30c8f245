#include "batch/refusal.h"

#include <cstring>

namespace korvel::batch {

namespace {

/// Of fixed size, so that remembering needs no memory.
thread_local char last_sentence[256] = "";

}  // namespace

korvel_batch_status remember(korvel_batch_status status, const char* sentence) noexcept {
  std::strncpy(last_sentence, sentence, sizeof last_sentence - 1);
  return status;
}

}  // namespace korvel::batch

const char* korvel_batch_error(void) { return korvel::batch::last_sentence; }
