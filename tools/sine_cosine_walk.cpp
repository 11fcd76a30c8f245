// Walks the floats up to the bound of the batch, of both signs, and holds sine and cosine against the C runtime's in
// double precision, rounded.
//
// Usage: sine_cosine_walk [STRIDE]     every float without a stride, one pack of four in STRIDE with it
// Prints how many were compared and how many differ. Exit status: 0 if none does, 1 otherwise, 2 for bad usage.

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "metapod/spatial/sine_cosine.h"

namespace {

using metapod::Spatial::Pack;

float floatOf(std::uint32_t bits) {
  float x = 0;
  std::memcpy(&x, &bits, sizeof x);
  return x;
}

std::uint32_t bitsOf(float x) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &x, sizeof bits);
  return bits;
}

/// Differences among four neighbours, beginning with the float of these bits.
int differences(std::uint32_t bits) {
  const Pack angles(floatOf(bits), floatOf(bits + 1), floatOf(bits + 2), floatOf(bits + 3));
  const auto batch = metapod::Spatial::sine_cosine(angles);
  int count = 0;
  for (int lane = 0; lane < Pack::lanes; ++lane) {
    const auto runtime = metapod::Spatial::sine_cosine_of_runtime(angles[lane]);
    const bool same =
        bitsOf(runtime.sine) == bitsOf(batch.sine[lane]) && bitsOf(runtime.cosine) == bitsOf(batch.cosine[lane]);
    if (!same) std::printf("differs at %a\n", static_cast<double>(angles[lane]));
    count += same ? 0 : 1;
  }
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  const long stride = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1;
  if (argc > 2 || stride < 1) {
    std::fputs("usage: sine_cosine_walk [STRIDE], a whole number from 1 on\n", stderr);
    return 2;
  }
  const std::uint32_t end = bitsOf(metapod::Spatial::internal::sine_cosine_bound) & ~3U;
  const std::uint32_t step = 4U * static_cast<std::uint32_t>(std::min(stride, 1L << 20));
  const unsigned thread_count = std::max(1U, std::thread::hardware_concurrency());
  std::atomic<std::uint64_t> compared{0};
  std::atomic<std::uint64_t> different{0};
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < thread_count; ++t) {
    threads.emplace_back([&, t] {
      std::uint64_t own_compared = 0;
      std::uint64_t own_different = 0;
      for (std::uint64_t bits = t * std::uint64_t{step}; bits < end; bits += thread_count * std::uint64_t{step}) {
        for (const std::uint32_t sign : {0U, 0x80000000U}) {
          own_different += static_cast<std::uint64_t>(differences(static_cast<std::uint32_t>(bits) | sign));
          own_compared += Pack::lanes;
        }
      }
      compared += own_compared;
      different += own_different;
    });
  }
  for (auto& thread : threads) thread.join();
  std::printf("%llu angles compared, %llu differ\n", static_cast<unsigned long long>(compared.load()),
              static_cast<unsigned long long>(different.load()));
  return different == 0 ? 0 : 1;
}
