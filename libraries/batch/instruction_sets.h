#pragma once

#include "batch/kernels/kernels.h"

namespace korvel::batch {

#if defined(KORVEL_BATCH_WIDE)
/// Return whether this processor has what the kernels of eight and of sixteen lanes are compiled for.
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

/// The instruction set with which the calls of an object are computed.
class ChosenSet {
 public:
  /// The one of that name; for null the one that KORVEL_INSTRUCTION_SET names or, without it, the best that is there.
  /// Throws Refusal.
  explicit ChosenSet(const char* name);

  const char* name() const noexcept { return set_->name; }

  /// Returns the kernels for n states. All states in a block of lanes take as long as one. Unless a set was named, few
  /// states therefore get a set with as few lanes as hold them.
  const KernelSet& kernels(std::ptrdiff_t n) const noexcept;

 private:
  const InstructionSet* set_ = nullptr;
  bool is_named_;
};

}  // namespace korvel::batch
