// Holds the sines and cosines of every instruction set of the library for many states to those of the module, for every
// float up to the bound of the batch, of both signs: those of some sets use fused multiply-add.
//
// Usage: sine_sets_walk [STRIDE]     every float without a stride, one batch of angles in STRIDE with it
// Exit status: 0 if all are the same, 1 otherwise, 2 for bad usage.

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "batch/instruction_sets.h"
#include "batch/kernels/kernels.h"
#include "metapod/spatial/sine_cosine.h"
#include "tests/proofs/every_float.h"

namespace {

using namespace korvel::batch;

enum : std::uint8_t { compared, different };
using Counts = std::array<std::uint64_t, 2>;

/// Neighbours from the float of these bits on.
template <int lanes>
void compare(std::uint32_t bits, Counts& counts) {
  constexpr int count = sine_count * lanes;
  constexpr auto size = static_cast<std::size_t>(count);
  float angles[size];
  float sines[size];
  float cosines[size];
  float expected_sines[size];
  float expected_cosines[size];
  for (int i = 0; i < count; ++i) {
    angles[i] = korvel::float_of(bits + static_cast<std::uint32_t>(i));
  }
  take_sines<lanes>(angles, sines, cosines);
  metapod::Spatial::sine_cosine<count>(angles, expected_sines, expected_cosines);
  counts[compared] += 2 * size;
  if (std::memcmp(sines, expected_sines, sizeof sines) == 0 &&
      std::memcmp(cosines, expected_cosines, sizeof cosines) == 0)
    return;
  for (int i = 0; i < count; ++i) {
    if (std::memcmp(sines + i, expected_sines + i, sizeof(float)) != 0 ||
        std::memcmp(cosines + i, expected_cosines + i, sizeof(float)) != 0) {
      std::printf("%d lanes: %a\n", lanes, static_cast<double>(angles[i]));
      ++counts[different];
    }
  }
}

/// All floats of the set, by as many threads as there are processors.
template <int lanes>
bool walk(const char* name, std::uint32_t stride) {
  constexpr std::uint32_t batch = sine_count * lanes;
  const std::uint32_t bound = korvel::bits_of(metapod::Spatial::sine_cosine_bound);
  // A batch with an angle beyond the bound would go to the C runtime.
  const std::uint32_t last = bound - batch;
  const auto sum = korvel::of_floats<Counts>(bound, std::uint64_t{batch} * stride,
                                             [last](std::uint32_t bits, std::uint32_t sign, Counts& counts) {
                                               compare<lanes>(std::min(bits, last) | sign, counts);
                                             });
  std::printf("%s: %" PRIu64 " sines and cosines, %" PRIu64 " are not the module's\n", name, sum[compared],
              sum[different]);
  return sum[different] == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::uint32_t stride = korvel::stride_of(argc, argv);
  bool same = walk<4>("baseline", stride);
#if defined(KORVEL_BATCH_WIDE)
  if (has_avx2()) same = walk<8>("avx2", stride) && same;
  if (has_avx512()) same = walk<16>("avx512", stride) && same;
#endif
  return same ? 0 : 1;
}
