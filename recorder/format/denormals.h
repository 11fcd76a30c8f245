#pragma once

#include <cstdint>

#include "recorder/format/format.h"

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace korvel::recording {

/// How this thread treats denormal numbers is part of a call's inputs: it changes results. As flags of its record.
#if defined(__x86_64__)
inline constexpr unsigned results_to_zero = 1U << 15;
inline constexpr unsigned inputs_to_zero = 1U << 6;
inline std::uint16_t denormal_flags() noexcept {
  const unsigned control = _mm_getcsr();
  return static_cast<std::uint16_t>(((control & results_to_zero) != 0 ? int{flushes_denormals} : 0) |
                                    ((control & inputs_to_zero) != 0 ? int{takes_denormals_as_zero} : 0));
}
inline void set_denormal_flags(std::uint16_t flags) noexcept {
  _mm_setcsr((_mm_getcsr() & ~(results_to_zero | inputs_to_zero)) |
             ((flags & flushes_denormals) != 0 ? results_to_zero : 0U) |
             ((flags & takes_denormals_as_zero) != 0 ? inputs_to_zero : 0U));
}
#elif defined(__aarch64__)
/// One bit for both.
inline constexpr std::uint64_t flush_to_zero = 1UL << 24;
inline std::uint64_t control_bits() noexcept {
  std::uint64_t bits = 0;
  asm volatile("mrs %0, fpcr" : "=r"(bits));
  return bits;
}
inline std::uint16_t denormal_flags() noexcept {
  return (control_bits() & flush_to_zero) != 0 ? flushes_denormals | takes_denormals_as_zero : 0;
}
inline void set_denormal_flags(std::uint16_t flags) noexcept {
  const bool flush = (flags & (flushes_denormals | takes_denormals_as_zero)) != 0;
  const std::uint64_t bits = flush ? control_bits() | flush_to_zero : control_bits() & ~flush_to_zero;
  asm volatile("msr fpcr, %0" : : "r"(bits));
}
#else
inline std::uint16_t denormal_flags() noexcept { return 0; }
inline void set_denormal_flags(std::uint16_t) noexcept {}
#endif

}  // namespace korvel::recording
