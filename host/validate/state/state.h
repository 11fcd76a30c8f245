#pragma once

#include "host/validate/core/check.h"
#include "host/validate/observe/shown.h"

namespace korvel::validate {

/// Level 2: inputs, results and objects are as documented.
Checks state_checks();

// Its parts.
Checks input_checks();
Checks object_checks();
Checks mass_checks();
Checks computation_checks();

/// A computation, what it returns beside what the object shows, and the parts that it writes.
struct Computation {
  const char* name;
  std::vector<float> (*run)(tesk::RigidBodySystem&);
  std::vector<Part> writes;
};
extern const std::vector<Computation> computations;

/// Leaves as much behind as an object can hold: results and joint pass of different inputs, and still other inputs.
void fill(tesk::RigidBodySystem& robot, std::uint64_t seed);

/// Ends as its original does.
inline host::System cloned(const host::System& robot) { return {robot->clone().release(), robot.get_deleter()}; }

}  // namespace korvel::validate
