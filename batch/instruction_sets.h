#pragma once

#include "batch/kernels/kernels.h"

namespace korvel::batch {

#if defined(KORVEL_BATCH_WIDE)
/// What the kernels of eight and of sixteen lanes are compiled for, and this processor has.
inline bool has_avx2() noexcept { return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0; }
inline bool has_avx512() noexcept {
  return has_avx2() && __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
         __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512bw") != 0;
}
#endif

struct InstructionSet {
  const char* name;
  const KernelSet& (*kernels)() noexcept;
  bool (*is_there)() noexcept;  ///< on this processor
};

/// The one of that name; for null the one that KORVEL_INSTRUCTION_SET names or, without it, the best that is there.
/// Throws Refusal.
const InstructionSet& choose_instruction_set(const char* name);

}  // namespace korvel::batch
