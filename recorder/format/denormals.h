#pragma once

#include "contract/float_control.h"
#include "recorder/format/format.h"

namespace korvel::recording {

/// The treatment of denormal numbers by this thread changes results, so it is part of a call's inputs: flags of its
/// record.
inline std::uint16_t denormal_flags() noexcept {
  const std::uint64_t control = float_control();
  return static_cast<std::uint16_t>(((control & results_to_zero) != 0 ? int{flushes_denormals} : 0) |
                                    ((control & inputs_to_zero) != 0 ? int{takes_denormals_as_zero} : 0));
}
inline void set_denormal_flags(std::uint16_t flags) noexcept {
  set_float_control((float_control() & ~(results_to_zero | inputs_to_zero)) |
                    ((flags & flushes_denormals) != 0 ? results_to_zero : 0) |
                    ((flags & takes_denormals_as_zero) != 0 ? inputs_to_zero : 0));
}

}  // namespace korvel::recording
