// Walks the floats up to the bound of the batch, of both signs, and holds sine and cosine against two claims: each is
// the C runtime's in double precision, rounded; and up to 8192, a thousand turns, each is the float nearest to the true
// value.
//
// Usage: sine_cosine_walk [STRIDE]     every float without a stride, one group of eight in STRIDE with it
// The runtime's result is within one unit in its last place of the truth, which is at most 2^-52 of it. Where all
// numbers within twice that round to the same float, that float is the nearest; where they do not, MPFR decides.
// Exit status: 0 if both claims hold for all that was walked, 1 otherwise, 2 for bad usage.

#include <mpfr.h>

#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "metapod/spatial/sine_cosine.h"
#include "tests/proofs/every_float.h"

namespace {

using korvel::bits_of;
using korvel::float_of;
using metapod::Spatial::Pack;

constexpr float nearest_bound = 8192;

/// Values, two for each angle; those that are not the runtime's; those within the bound of the second claim.
enum : std::uint8_t { compared, different, within, by_mpfr, not_nearest };
using Counts = std::array<std::uint64_t, 5>;

using MpfrFunction = int(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);

float mpfr_result(MpfrFunction function, float angle) {
  mpfr_t value;
  mpfr_init2(value, 24);  // a float's digits
  mpfr_set_flt(value, angle, MPFR_RNDN);
  function(value, value, MPFR_RNDN);
  const float result = mpfr_get_flt(value, MPFR_RNDN);
  mpfr_clear(value);
  return result;
}

void compare(float value, double runtime, MpfrFunction function, float angle, Counts& counts) {
  const auto expect = [&](float expected, std::uint64_t& failures, const char* claim) {
    if (bits_of(value) == bits_of(expected)) return;
    std::printf("%a at %a is not %s\n", static_cast<double>(value), static_cast<double>(angle), claim);
    ++failures;
  };
  ++counts[compared];
  expect(static_cast<float>(runtime), counts[different], "the runtime's");
  if (std::abs(angle) > nearest_bound) return;

  ++counts[within];
  auto nearest = static_cast<float>(runtime * (1 - 0x1p-51));
  if (bits_of(nearest) != bits_of(static_cast<float>(runtime * (1 + 0x1p-51)))) {
    ++counts[by_mpfr];
    nearest = mpfr_result(function, angle);
  }
  expect(nearest, counts[not_nearest], "nearest to the truth");
}

/// Eight neighbours, beginning with the float of these bits: as the joints' angles are taken, and the same by fours, as
/// the root's are.
void compare(std::uint32_t bits, Counts& counts) {
  float angle[8];
  float sine[8];
  float cosine[8];
  for (std::uint32_t i = 0; i < 8; ++i) angle[i] = float_of(bits + i);
  metapod::Spatial::sine_cosine<8>(angle, sine, cosine);
  const metapod::Spatial::SineCosineT<Pack> by_fours[]{
      metapod::Spatial::sine_cosine(metapod::Spatial::load(angle)),
      metapod::Spatial::sine_cosine(metapod::Spatial::load(angle + 4))};
  for (int i = 0; i < 8; ++i) {
    const auto exactly = static_cast<double>(angle[i]);
    compare(sine[i], std::sin(exactly), mpfr_sin, angle[i], counts);
    compare(cosine[i], std::cos(exactly), mpfr_cos, angle[i], counts);
    const auto& four = by_fours[i / Pack::lanes];
    const int lane = i % Pack::lanes;
    if (bits_of(sine[i]) == bits_of(four.sine[lane]) && bits_of(cosine[i]) == bits_of(four.cosine[lane])) continue;
    std::printf("%a among eight is not what it is among four\n", exactly);
    ++counts[different];
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::uint32_t end = bits_of(metapod::Spatial::sine_cosine_bound) & ~7U;
  const std::uint32_t step = 8U * korvel::stride_of(argc, argv);
  const auto sum = korvel::of_floats<Counts>(
      end, step, [](std::uint32_t bits, std::uint32_t sign, Counts& counts) { compare(bits | sign, counts); });
  std::printf("%" PRIu64 " sines and cosines, %" PRIu64 " are not the runtime's\n", sum[compared], sum[different]);
  std::printf("%" PRIu64 " of them up to %g, %" PRIu64 " decided by MPFR, %" PRIu64 " are not nearest to the truth\n",
              sum[within], static_cast<double>(nearest_bound), sum[by_mpfr], sum[not_nearest]);
  return sum[different] + sum[not_nearest] == 0 ? 0 : 1;
}
