#pragma once

#include <cstddef>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "batch/korvel/batch.h"

namespace korvel::batch {

/// Thrown inside of a call that cannot be done.
struct Refusal {
  korvel_batch_status status;
  std::string sentence;
};

inline std::string text(const std::string& words) { return words; }
inline std::string text(std::ptrdiff_t number) { return std::to_string(number); }

/// Throws a Refusal whose sentence is put together from words and whole numbers.
template <typename... Parts>
[[noreturn]] void refuse(korvel_batch_status status, const Parts&... parts) {
  throw Refusal{status, (text(parts) + ...)};
}

/// Refuses a null pointer.
inline void require_pointer(const void* pointer, const char* name) {
  if (pointer == nullptr) refuse(KORVEL_BATCH_NULL, name, " is null");
}

/// The text of korvel_batch_error. Its size is fixed, so that keeping it needs no memory.
inline thread_local char last_sentence[256] = "";

inline korvel_batch_status remember(korvel_batch_status status, const char* sentence) noexcept {
  std::strncpy(last_sentence, sentence, sizeof last_sentence - 1);
  return status;
}

/// Returns what a call returns: 0 if work() ends, or the status of what it throws.
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
  } catch (...) {
    return remember(KORVEL_BATCH_SYSTEM, "an exception of unknown type");
  }
}

}  // namespace korvel::batch
