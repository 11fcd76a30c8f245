#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "contract/states.h"
#include "korvel/batch.hpp"
#include "support/module.h"

namespace korvel::tests {

inline constexpr int coordinates = KORVEL_BATCH_COORDINATES;
inline constexpr int bodies = KORVEL_BATCH_BODIES;

/// One array of n states, numbers side by side.
struct Rows {
  Rows(std::ptrdiff_t n, int number_count)
      : numbers(number_count), values(static_cast<std::size_t>(n * number_count)) {}

  float* of_state(std::ptrdiff_t s) { return values.data() + s * numbers; }
  const float* of_state(std::ptrdiff_t s) const { return values.data() + s * numbers; }

  int numbers;
  std::vector<float> values;
};

inline korvel_batch_input input(const Rows& rows) { return rows_of(rows.values.data(), rows.numbers); }
inline korvel_batch_output output(Rows& rows) { return rows_to(rows.values.data(), rows.numbers); }

/// States as arrays, wrenches on all bodies among them.
struct States {
  explicit States(std::ptrdiff_t n) : count(n) {}

  std::ptrdiff_t count;
  Rows q{count, coordinates}, dq{count, coordinates}, ddq{count, coordinates}, wrenches{count, 6 * bodies};
  /// The poses from which the module takes the root's coordinates.
  std::vector<QZ::Math::Transform> root_poses;
};

/// All results of n states.
struct Results {
  explicit Results(std::ptrdiff_t count) : n(count) {}

  std::array<const Rows*, 8> all() const {
    return {&poses_root, &poses_world, &com_root, &com_world, &jacobian, &packed, &mass, &forces};
  }

  std::ptrdiff_t n;
  Rows poses_root{n, 12 * bodies}, poses_world{n, 12 * bodies}, com_root{n, 3}, com_world{n, 3};
  Rows jacobian{n, 6 * coordinates}, packed{n, KORVEL_BATCH_MASS_ENTRIES};
  Rows mass{n, coordinates*coordinates}, forces{n, coordinates};
};

/// Random states; the root's coordinates are those that the module makes of its pose.
States random_states(std::ptrdiff_t n, std::uint64_t first_seed);

/// One of the states, as the textbook model takes it.
State state_of(const States& states, std::ptrdiff_t s);

/// Computes results by the module, one state after the other, with a wrench on each body. The module does not show the
/// force on the root, which is therefore taken from `forces`.
Results module_results(const States& states, tesk::RigidBodySystem& robot, const Rows& forces);

/// Computes results by the library, from and to rows.
Results batch_results(const Batch& batch, const States& states);

/// The wrenches on all bodies as the library takes them.
std::vector<korvel_batch_wrench> wrenches_of(const States& states);

/// Instruction sets that this processor has.
std::vector<std::string> instruction_sets();

/// The number of values of which the bits differ, signs of zeros apart.
std::size_t count_different(const Rows& a, const Rows& b);

/// The same in all arrays of results.
template <typename AllResults>
std::size_t count_different(const AllResults& a, const AllResults& b) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < a.all().size(); ++i) count += count_different(*a.all()[i], *b.all()[i]);
  return count;
}

}  // namespace korvel::tests
