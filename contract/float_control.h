#pragma once

#include <cfenv>
#include <cstdint>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace korvel {

/// The control register of this thread's floating-point arithmetic: rounding, traps, and the two bits by which denormal
/// results and denormal inputs are taken for zero. Where no register is known, the first is the direction of
/// rounding alone and cannot be set, and the bits are 0.
#if defined(__x86_64__)
inline constexpr std::uint64_t results_to_zero = 1U << 15;
inline constexpr std::uint64_t inputs_to_zero = 1U << 6;
inline constexpr unsigned raised_flags = 0x3f;
inline std::uint64_t float_control() noexcept { return _mm_getcsr() & ~raised_flags; }
inline void set_float_control(std::uint64_t bits) noexcept {
  _mm_setcsr((_mm_getcsr() & raised_flags) | static_cast<unsigned>(bits));
}
#elif defined(__aarch64__)
inline constexpr std::uint64_t results_to_zero = 1UL << 24;
inline constexpr std::uint64_t inputs_to_zero = results_to_zero;
inline std::uint64_t float_control() noexcept {
  std::uint64_t bits = 0;
  asm volatile("mrs %0, fpcr" : "=r"(bits));
  return bits;
}
inline void set_float_control(std::uint64_t bits) noexcept { asm volatile("msr fpcr, %0" : : "r"(bits)); }
#else
inline constexpr std::uint64_t results_to_zero = 0;
inline constexpr std::uint64_t inputs_to_zero = 0;
inline std::uint64_t float_control() noexcept { return static_cast<std::uint64_t>(std::fegetround()); }
inline void set_float_control(std::uint64_t) noexcept {}
#endif

}  // namespace korvel
