#include "batch/instruction_sets.h"

#include <cstdlib>
#include <string>

#include "batch/refusal.h"

namespace korvel::batch {

namespace {

/// The best last.
constexpr InstructionSet sets[] = {
    {"baseline", kernel_set<4>, []() noexcept { return true; }},
#if defined(KORVEL_BATCH_WIDE)
    {"avx2", kernel_set<8>, has_avx2},
    {"avx512", kernel_set<16>, has_avx512},
#endif
};

}  // namespace

ChosenSet::ChosenSet(const char* name) {
  const char* source = "instruction_set";
  if (name == nullptr) {
    name = secure_getenv("KORVEL_INSTRUCTION_SET");
    source = "KORVEL_INSTRUCTION_SET";
  }
  is_named_ = name != nullptr;
  std::string known;
  for (const InstructionSet& set : sets) {
    known += std::string(known.empty() ? "" : ", ") + set.name;
    if (is_named_ && set.name != std::string(name)) continue;
    if (set.is_there()) {
      set_ = &set;
    } else if (is_named_) {
      refuse(KORVEL_BATCH_INSTRUCTION_SET, source, ": this processor has no ", name);
    }
  }
  if (is_named_ && set_ == nullptr) refuse(KORVEL_BATCH_INSTRUCTION_SET, source, ": \"", name, "\" is none of ", known);
}

const KernelSet& ChosenSet::kernels(std::ptrdiff_t n) const noexcept {
  const InstructionSet* set = is_named_ ? set_ : sets;
  while (set != set_ && set->kernels().lanes < n) ++set;
  return set->kernels();
}

}  // namespace korvel::batch
