#pragma once

#include "host/validate/check.h"
#include "host/validate/shown.h"

namespace korvel::validate {

// The parts of the group `state`.
Checks inputChecks();
Checks objectChecks();
Checks massChecks();
Checks computationChecks();

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
