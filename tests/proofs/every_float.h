#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
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

/// compare(bits, sign, counts) for the bits of floats 0, step, 2 step and so on below `end`, with either sign, by as
/// many threads as there are processors. The sum of their counts, by `add`.
template <typename Counts, typename Compare>
Counts of_floats(std::uint32_t end, std::uint64_t step, const Compare& compare) {
  const unsigned thread_count = std::max(1U, std::thread::hardware_concurrency());
  std::vector<Counts> counts(thread_count);
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < thread_count; ++t) {
    threads.emplace_back([&, t] {
      Counts own;
      for (std::uint64_t bits = t * step; bits < end; bits += thread_count * step) {
        for (const std::uint32_t sign : {0U, 0x80000000U}) compare(static_cast<std::uint32_t>(bits), sign, own);
      }
      counts[t] = own;
    });
  }
  for (auto& thread : threads) thread.join();
  Counts sum;
  for (const Counts& part : counts) sum.add(part);
  return sum;
}

}  // namespace korvel
