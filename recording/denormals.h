#pragma once

#include <cstdint>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace korvel::recording {

/// How this thread treats denormal numbers is part of a call's inputs: it changes results.
#if defined(__x86_64__)
inline constexpr unsigned flush_to_zero = 0x8040;  // results, and what goes in
inline bool flushing_denormals() noexcept { return (_mm_getcsr() & flush_to_zero) != 0; }
inline void flush_denormals(bool flush) noexcept {
  _mm_setcsr(flush ? _mm_getcsr() | flush_to_zero : _mm_getcsr() & ~flush_to_zero);
}
#elif defined(__aarch64__)
inline constexpr std::uint64_t flush_to_zero = 1UL << 24;
inline std::uint64_t control_bits() noexcept {
  std::uint64_t bits = 0;
  asm volatile("mrs %0, fpcr" : "=r"(bits));
  return bits;
}
inline bool flushing_denormals() noexcept { return (control_bits() & flush_to_zero) != 0; }
inline void flush_denormals(bool flush) noexcept {
  const std::uint64_t bits = flush ? control_bits() | flush_to_zero : control_bits() & ~flush_to_zero;
  asm volatile("msr fpcr, %0" : : "r"(bits));
}
#else
inline bool flushing_denormals() noexcept { return false; }
inline void flush_denormals(bool) noexcept {}
#endif

}  // namespace korvel::recording
