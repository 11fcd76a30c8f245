// Eight threads share an object of the library for many states, each with results of its own, while another one makes
// and ends objects. Every thread has to find the same numbers. What a sanitizer watches while it runs is what threads
// share.
//
// Usage: shared_batch
// Exit status: 0 if all results are the same.

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <thread>
#include <utility>
#include <vector>

#include "korvel/batch.hpp"

namespace {

constexpr int coordinates = KORVEL_BATCH_COORDINATES;
constexpr std::ptrdiff_t states = 100;
constexpr int rounds = 20;
constexpr int thread_count = 8;

using Numbers = std::vector<float>;

Numbers inputs() {
  Numbers numbers(static_cast<std::size_t>(states * coordinates));
  for (std::size_t i = 0; i < numbers.size(); ++i) numbers[i] = 0.01F * static_cast<float>(i * 7919 % 200) - 1;
  return numbers;
}

/// One after the other what there is to compute.
Numbers results_of(const korvel::Batch& batch, const Numbers& numbers) {
  const korvel_batch_input q = korvel::rows_of(numbers.data(), coordinates);
  static const float corners[]{0, 0, 0, 0.1F, 0, 0, 0, 0.1F, 0};
  static const korvel_batch_sole sole{13, 0.6F, corners, 3};
  static const float stands[]{1};
  const korvel_batch_ground ground{0, &sole, 1, {stands, 0, sizeof(float), 0}};
  Numbers results(static_cast<std::size_t>(states) * (300 + 240 + 2 * coordinates));
  float* to = results.data();
  const auto next = [&](int count) { return korvel::rows_to(std::exchange(to, to + states * count), count); };
  batch.kinematics(states, q, {{}, next(300), {}, {}, {}});
  batch.mass_packed(states, q, next(240));
  batch.dynamics(states, q, q, q, next(coordinates));
  batch.stand(states, q, q, q, ground, {next(coordinates), {}, {}, {}, {}, {}, {}});
  return results;
}

}  // namespace

int main() try {
  const Numbers numbers = inputs();
  // The threads are the caller's: those of the pool synchronise where no sanitizer looks.
  const korvel::Batch shared(1);
  const Numbers expected = results_of(shared, numbers);
  std::atomic<int> different{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < thread_count; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < rounds; ++i) different += results_of(shared, numbers) != expected ? 1 : 0;
    });
  }
  threads.emplace_back([&] {
    for (int i = 0; i < rounds; ++i) different += results_of(korvel::Batch(1), numbers) != expected ? 1 : 0;
  });
  for (std::thread& thread : threads) thread.join();
  std::printf("%d of %d results are others\n", different.load(), (thread_count + 1) * rounds);
  return different == 0 ? 0 : 1;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
