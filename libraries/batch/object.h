#pragma once

#include "batch/arguments.h"
#include "batch/current_masses.h"
#include "batch/instruction_sets.h"
#include "batch/refusal.h"
#include "batch/threads.h"

/// An object of the library, for the functions of its headers.
struct korvel_batch {
  korvel::batch::ChosenSet set;
  korvel::batch::Threads threads;
  korvel::batch::CurrentMasses masses;
};

namespace korvel::batch {

template <typename Batch>
Batch& checked(Batch* batch) {
  require_pointer(batch, "batch");
  return *batch;
}

inline bool has_data(const Output& output) noexcept { return output.data != nullptr; }

}  // namespace korvel::batch
