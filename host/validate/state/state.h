#pragma once

#include <fmt/format.h>

#include "host/validate/core/check.h"
#include "host/validate/observe/require_same.h"

namespace korvel::validate {

/// Level 2: inputs, results and objects are as documented.
Checks state_checks();

// Its parts.
Checks input_checks();
Checks object_checks();
Checks mass_checks();
Checks computation_checks();

/// A computation, what it returns beside what the object shows, and what it writes of that.
struct Computation {
  const char* name;
  std::vector<float> (*run)(tesk::RigidBodySystem&);
  std::vector<Result> writes;
};
extern const std::vector<Computation> computations;

/// Calls with as many seeds, one after the other; says so.
template <typename Function>
std::string with_seeds(const Subject& subject, std::uint64_t states, Function f) {
  for (std::uint64_t s = 0; s < states; ++s) f(subject.seed + s);
  return fmt::format("{} states", states);
}

/// Leaves as much behind as an object can hold: results and joint pass of different inputs, and still other inputs.
void leave_past(tesk::RigidBodySystem& robot, std::uint64_t seed);

/// Ends as its original does.
inline host::System cloned(const host::System& robot) { return {robot->clone().release(), robot.get_deleter()}; }

}  // namespace korvel::validate
