// Inverse dynamics of a million states at once, and how many that are a second here. Usage: many_states

#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <vector>

#include "korvel/batch.hpp"

int main() try {
  constexpr std::ptrdiff_t n = 1'000'000;
  constexpr int coordinates = KORVEL_BATCH_COORDINATES;
  std::vector<float> q(n * coordinates);
  for (std::size_t i = 0; i < q.size(); ++i) q[i] = std::sin(static_cast<float>(i));
  // Velocities and accelerations of all states are the same here: a stride of zero.
  const std::vector<float> rates(coordinates, 0.1F);
  const korvel_batch_input all_alike{rates.data(), 0, sizeof(float), 0};

  const korvel::Batch batch;  // all processors, their widest instructions
  const auto start = std::chrono::steady_clock::now();
  const korvel_batch_force_sums sums =
      batch.force_sums(n, korvel::rows_of(q.data(), coordinates), all_alike, all_alike);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;

  float largest = 0;
  for (int d = 6; d < coordinates; ++d) largest = std::fmax(largest, sums.largest[d]);
  std::printf("inverse dynamics of %.1f million states a second, on %d threads with %s; largest torque %g N m\n",
              static_cast<double>(n) / seconds.count() / 1e6, batch.threads(), batch.instruction_set(),
              static_cast<double>(largest));
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
