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

/// Refuses what the kernels cannot compute with. The total may differ from the sum by what changes have rounded off.
void require_possible(const Masses& masses) {
  constexpr double most_rounded_off = 1e-3;
  double sum = 0;
  for (const auto& [inertia, center_of_mass] : masses.of_body) {
    float numbers[inertia_numbers];
    std::memcpy(numbers, &inertia, sizeof numbers);
    require_finite(numbers, inertia_numbers, "the inertia of a body about its origin");
    if (!(inertia.m > 0)) refuse(KORVEL_BATCH_VALUE, "a mass is not above zero");
    sum += static_cast<double>(inertia.m);
  }
  const auto total = static_cast<double>(masses.total);
  if (std::abs(total - sum) <= most_rounded_off * sum) return;
  char sentence[200];
  std::snprintf(sentence, sizeof sentence,
                "the total mass would be %g kg, but the bodies' masses add up to %g kg; a new object has no such error",
                total, sum);
  refuse(KORVEL_BATCH_VALUE, sentence);
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

template <typename Change>
void CurrentMasses::replace(Change change) {
  const std::lock_guard<std::mutex> lock(taken_before_forks);
  Masses changed = masses_;
  change(changed);
  require_possible(changed);
  masses_ = changed;
}

void CurrentMasses::set_one(int body, float mass, const float* com, const float* inertia) {
  require_body(body);
  require_finite(com, 3, "com");
  require_finite(inertia, 6, "inertia");
  replace([&](Masses& masses) {
    auto& of_body = masses.of_body[static_cast<std::size_t>(body)];
    // The module adds in this order, too.
    masses.total = (mass - of_body.inertia.m) + masses.total;
    of_body.inertia = Inertia::from_center_of_mass(
        mass, {com[0], com[1], com[2]}, {inertia[0], inertia[1], inertia[2], inertia[3], inertia[4], inertia[5]});
    of_body.center_of_mass = of_body.inertia.center_of_mass();
  });
}

void CurrentMasses::copy_to(float* numbers) const {
  require_pointer(numbers, "numbers");
  const Masses masses = get();
  for (const auto& of_body : masses.of_body) {
    std::memcpy(numbers, &of_body.inertia, sizeof(Inertia));
    numbers += inertia_numbers;
  }
  *numbers = masses.total;
}

void CurrentMasses::set_all(const float* numbers) {
  require_finite(numbers, KORVEL_BATCH_INERTIA_NUMBERS, "numbers");
  replace([numbers](Masses& masses) mutable {
    for (auto& of_body : masses.of_body) {
      std::memcpy(static_cast<void*>(&of_body.inertia), numbers, sizeof(Inertia));
      of_body.center_of_mass = of_body.inertia.center_of_mass();
      numbers += inertia_numbers;
    }
    masses.total = *numbers;
  });
}

}  // namespace korvel::batch
