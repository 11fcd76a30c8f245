#pragma once

#include <exception>
#include <new>
#include <string>
#include <utility>

#include "batch/korvel/batch.h"

namespace korvel::batch {

/// Thrown inside of a call that cannot be done.
struct Refusal {
  korvel_batch_status status;
  std::string sentence;
};

/// Keeps the sentence for korvel_batch_error.
korvel_batch_status remember(korvel_batch_status status, const char* sentence) noexcept;

/// What a call returns: 0 if work() ends, the status of what it throws otherwise.
template <typename Work>
int status_of(const Work& work) noexcept {
  try {
    work();
    return KORVEL_BATCH_OK;
  } catch (const Refusal& refusal) {
    return remember(refusal.status, refusal.sentence.c_str());
  } catch (const std::bad_alloc&) {
    return remember(KORVEL_BATCH_MEMORY, "no memory");
  } catch (const std::exception& failure) {
    return remember(KORVEL_BATCH_SYSTEM, failure.what());
  }
}

}  // namespace korvel::batch
