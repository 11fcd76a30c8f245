#pragma once

#include "batch/kernels/kernels.h"

namespace korvel::batch {

struct InstructionSet {
  const char* name;
  const KernelSet& (*kernels)() noexcept;
  bool (*is_there)() noexcept;  ///< on this processor
};

/// The one of that name; for null the one that KORVEL_INSTRUCTION_SET names or, without it, the best that is there.
/// Throws Refusal.
const InstructionSet& choose_instruction_set(const char* name);

}  // namespace korvel::batch
