#pragma once

#include <cstdint>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace korvel {

/// The control register of this thread's floating-point arithmetic: rounding, traps, and the two bits by which denormal
/// results and denormal inputs are taken for zero. On 64-bit ARM, one bit stands for both.
#if defined(__x86_64__)
inline constexpr std::uint64_t results_to_zero = 1U << 15;
inline constexpr std::uint64_t inputs_to_zero = 1U << 6;
inline constexpr unsigned raised_flags = 0x3f;
inline std::uint64_t float_control() noexcept { return _mm_getcsr() & ~raised_flags; }
inline void set_float_control(std::uint64_t bits) noexcept {
  _mm_setcsr((_mm_getcsr() & raised_flags) | static_cast<unsigned>(bits));
}
#else
inline constexpr std::uint64_t results_to_zero = 1UL << 24;
inline constexpr std::uint64_t inputs_to_zero = results_to_zero;
inline std::uint64_t float_control() noexcept {
  std::uint64_t bits = 0;
  asm volatile("mrs %0, fpcr" : "=r"(bits));
  return bits;
}
inline void set_float_control(std::uint64_t bits) noexcept { asm volatile("msr fpcr, %0" : : "r"(bits)); }
#endif

}  // namespace korvel
