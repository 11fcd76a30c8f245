#include "batch/current_masses.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "batch/arguments.h"
#include "batch/refusal.h"
#include "batch/threads.h"

namespace korvel::batch {

namespace {

using metapod::Spatial::Inertia;

constexpr int inertia_numbers = sizeof(Inertia) / sizeof(float);
static_assert(KORVEL_BATCH_INERTIA_NUMBERS == inertia_numbers * body_count + 1);

void require_finite(const float* values, int count, const char* name) {
  require_pointer(values, name);
  for (int i = 0; i < count; ++i) {
    if (!std::isfinite(values[i])) refuse(KORVEL_BATCH_VALUE, name, " is not finite");
  }
}

/// Reads numbers of korvel_batch_set_inertias. Refuses what the kernels cannot compute with; the total may differ from
/// the sum by what changes have rounded off.
Masses checked_masses(const float* numbers) {
  constexpr double most_rounded_off = 1e-3;
  require_finite(numbers, KORVEL_BATCH_INERTIA_NUMBERS - 1, "the inertia of a body about its origin");
  Masses masses{};
  double sum = 0;
  for (auto& [inertia, center_of_mass] : masses.of_body) {
    std::memcpy(static_cast<void*>(&inertia), numbers, sizeof inertia);
    if (!(inertia.m > 0)) refuse(KORVEL_BATCH_VALUE, "a mass is not above zero");
    center_of_mass = inertia.center_of_mass();
    sum += static_cast<double>(inertia.m);
    numbers += inertia_numbers;
  }
  masses.total = *numbers;
  const auto total = static_cast<double>(masses.total);
  if (std::abs(total - sum) <= most_rounded_off * sum) return masses;
  char sentence[200];
  std::snprintf(sentence, sizeof sentence,
                "the total mass would be %g kg, but the bodies' masses add up to %g kg; a new object has no such error",
                total, sum);
  refuse(KORVEL_BATCH_VALUE, sentence);
}

void write(const Masses& masses, float* numbers) noexcept {
  for (const auto& of_body : masses.of_body) {
    std::memcpy(numbers, &of_body.inertia, sizeof(Inertia));
    numbers += inertia_numbers;
  }
  *numbers = masses.total;
}

}  // namespace

/// Sums masses as the module does when it is loaded.
CurrentMasses::CurrentMasses() {
  for (std::size_t b = 0; b < masses_.of_body.size(); ++b) {
    const Inertia& inertia = metapod::models::KorvelRobot::bodies[b].inertia;
    masses_.of_body[b] = {inertia, inertia.center_of_mass()};
    masses_.total += inertia.m;
  }
}

Masses CurrentMasses::get() const {
  const std::lock_guard<std::mutex> lock(taken_before_forks);
  return masses_;
}

void CurrentMasses::set_one(int body, float mass, const float* com, const float* inertia) {
  require_body(body);
  require_finite(com, 3, "com");
  require_finite(inertia, 6, "inertia");
  const Inertia changed = Inertia::from_center_of_mass(
      mass, {com[0], com[1], com[2]}, {inertia[0], inertia[1], inertia[2], inertia[3], inertia[4], inertia[5]});
  const std::lock_guard<std::mutex> lock(taken_before_forks);
  float numbers[KORVEL_BATCH_INERTIA_NUMBERS];
  write(masses_, numbers);
  float* const of_body = numbers + inertia_numbers * body;
  float& total = numbers[KORVEL_BATCH_INERTIA_NUMBERS - 1];
  // The module adds in this order, too. The mass of a body is the first of its numbers.
  total = (mass - *of_body) + total;
  std::memcpy(of_body, &changed, sizeof changed);
  masses_ = checked_masses(numbers);
}

void CurrentMasses::copy_to(float* numbers) const {
  require_pointer(numbers, "numbers");
  write(get(), numbers);
}

void CurrentMasses::set_all(const float* numbers) {
  require_finite(numbers, KORVEL_BATCH_INERTIA_NUMBERS, "numbers");
  const Masses changed = checked_masses(numbers);
  const std::lock_guard<std::mutex> lock(taken_before_forks);
  masses_ = changed;
}

}  // namespace korvel::batch
