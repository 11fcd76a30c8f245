#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

namespace korvel {

inline float float_of(std::uint32_t bits) {
  float x = 0;
  std::memcpy(&x, &bits, sizeof x);
  return x;
}

inline std::uint32_t bits_of(float x) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &x, sizeof bits);
  return bits;
}

/// The one argument of a program, from 1 to 65536; 1 without one. Ends the program for any other.
inline std::uint32_t stride_of(int argc, char** argv) {
  const long stride = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1;
  if (argc > 2 || stride < 1 || stride > 1L << 16) {
    std::fprintf(stderr, "usage: %s [STRIDE], a whole number from 1 to 65536\n", argv[0]);
    std::exit(2);
  }
  return static_cast<std::uint32_t>(stride);
}

/// compare(bits, sign, counts) for the bits of floats 0, step, 2 step and so on below `end`, with either sign, by as
/// many threads as there are processors. The sum of their counts, arrays.
template <typename Counts, typename Compare>
Counts of_floats(std::uint32_t end, std::uint64_t step, const Compare& compare) {
  const unsigned thread_count = std::max(1U, std::thread::hardware_concurrency());
  std::vector<Counts> counts(thread_count);
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < thread_count; ++t) {
    threads.emplace_back([&, t] {
      Counts own{};
      for (std::uint64_t bits = t * step; bits < end; bits += thread_count * step) {
        for (const std::uint32_t sign : {0U, 0x80000000U}) compare(static_cast<std::uint32_t>(bits), sign, own);
      }
      counts[t] = own;
    });
  }
  for (auto& thread : threads) thread.join();
  Counts sum{};
  for (const Counts& part : counts) {
    std::transform(sum.begin(), sum.end(), part.begin(), sum.begin(), std::plus<>());
  }
  return sum;
}

}  // namespace korvel
