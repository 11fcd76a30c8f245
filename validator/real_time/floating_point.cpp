#include <fmt/format.h>

#include <algorithm>
#include <cfenv>
#include <cmath>

#include "contract/float_control.h"
#include "contract/shown.h"
#include "validator/core/check.h"
#include "validator/observe/side_effects.h"

namespace korvel::validate {

namespace {

using namespace std::chrono_literals;

// A valid call has no reason to raise these. It may round, and numbers may underflow.
constexpr int grave = FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW;

std::string names(int flags) {
  return fmt::format("{}{}{}", (flags & FE_INVALID) != 0 ? " invalid" : "",
                     (flags & FE_DIVBYZERO) != 0 ? " division-by-zero" : "",
                     (flags & FE_OVERFLOW) != 0 ? " overflow" : "");
}

std::string raises_nothing(const Subject& subject) {
  const host::Module module(subject.module);
  const auto expect_none = [](const char* operation, std::size_t state) {
    const int raised = std::fetestexcept(grave);
    require(raised == 0, "{}, state {}: raises{}", operation, state, names(raised));
  };
  std::feclearexcept(FE_ALL_EXCEPT);
  const host::System robot = module.create();
  expect_none("create", 0);
  std::vector<Arguments> arguments = varied_arguments(*robot, subject.seed, 64);
  for (std::size_t a = 0; a < arguments.size(); ++a) {
    for (const RealTimeOperation& operation : real_time_operations()) {
      std::feclearexcept(FE_ALL_EXCEPT);
      operation.call(*robot, arguments[a]);
      expect_none(operation.name, a);
    }
  }
  return fmt::format("no invalid, division-by-zero or overflow by {} operations on {} states",
                     real_time_operations().size(), arguments.size());
}

std::string keeps_control(const Subject& subject) {
  const std::uint64_t before = float_control();
  const host::System robot = create(subject);
  Arguments arguments(random_state(subject.seed, *robot), *robot);
  const auto expect_kept = [&](const char* operation) {
    require(float_control() == before, "{}: control register {:#x}, it was {:#x}", operation, float_control(), before);
  };
  expect_kept("loading and create");
  for (const RealTimeOperation& operation : real_time_operations()) {
    operation.call(*robot, arguments);
    expect_kept(operation.name);
  }
  return fmt::format("control register {:#x} before and after", before);
}

/// Everything for all states, computed with these bits in the control register.
std::vector<float> computed_with(std::uint64_t bits, const host::Module& module, const std::vector<State>& states) {
  const std::uint64_t before = float_control();
  set_float_control(bits);
  std::vector<float> all = everything_after_each(states, *module.create());
  set_float_control(before);
  return all;
}

std::string bears_flush_to_zero(const Subject& subject) {
  constexpr double bound = 1e-6;
  constexpr std::uint64_t flush_to_zero = results_to_zero | inputs_to_zero;
  const host::Module module(subject.module);
  const std::vector<State> states = varied_states(subject.seed, 32, *module.create());
  const std::vector<float> expected = computed_with(float_control(), module, states);
  const std::vector<float> flushed = computed_with(float_control() | flush_to_zero, module, states);
  const std::size_t per_state = expected.size() / states.size();
  double largest = 0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto value = static_cast<double>(expected[i]);
    const double deviation = std::abs(static_cast<double>(flushed[i]) - value) / (1 + std::abs(value));
    require(deviation <= bound, "state {}, value {}: {} instead of {}", i / per_state, i % per_state, flushed[i],
            expected[i]);
    largest = std::max(largest, deviation);
  }
  return fmt::format("largest deviation {:.1e} of one more than the value, bound {:.1e}, {} states", largest, bound,
                     states.size());
}

std::string bears_traps(const Subject& subject) {
  const host::System robot = create(subject);
  call_in_child(
      *robot, varied_arguments(*robot, subject.seed, 64), [] { return feenableexcept(grave) != -1; },
      "this machine has no traps for floating-point exceptions");
  return fmt::format("no trap in {} operations", real_time_operations().size());
}

}  // namespace

Checks floating_point_checks() {
  return {
      {"floating-point.raises-nothing", "Valid calls raise no invalid, division-by-zero or overflow flag.",
       raises_nothing, 10s},
      {"floating-point.keeps-control", "Rounding, traps and the treatment of denormal numbers stay the host's.",
       keeps_control, 10s},
      {"floating-point.bears-flush-to-zero", "A host that flushes denormal numbers to zero gets the same results.",
       bears_flush_to_zero, 10s},
      {"floating-point.bears-traps", "A host that traps floating-point exceptions is not stopped by valid calls.",
       bears_traps, 10s},
  };
}

}  // namespace korvel::validate
