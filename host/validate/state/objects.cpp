#include "host/validate/core/require.h"
#include "host/validate/observe/require_same.h"
#include "host/validate/state/state.h"

namespace korvel::validate {

namespace {

using namespace std::chrono_literals;
using Robot = tesk::RigidBodySystem;

/// Everything that is shown, and what each computation makes of what is not.
std::vector<float> everything(const host::System& robot) {
  std::vector<float> all = everything_readable(*robot);
  const auto append = [&](const std::vector<float>& more) { all.insert(all.end(), more.begin(), more.end()); };
  for (const Computation& computation : computations) {
    const host::System copy = cloned(robot);
    append(computation.run(*copy));
    append(everything_readable(*copy));
  }
  return all;
}

std::string clones(const Subject& subject) {
  constexpr int states = 16;
  for (std::uint64_t s = 0; s < states; ++s) {
    const std::uint64_t seed = subject.seed + s;
    host::System robot = create(subject);
    leave_past(*robot, seed);
    const host::System twin = create(subject);  // with the same past, made without a copy
    leave_past(*twin, seed);
    for (const Computation& computation : computations) {
      const host::System clone = cloned(robot);
      const std::string after = fmt::format("clone and {}, seed {}", computation.name, seed);
      require_same(*clone, everything_readable(*twin), fmt::format("clone, seed {}", seed));
      const bool same = same_bits(computation.run(*clone), computation.run(*twin));
      require(same, "after {}: the returned value is not that of the original", after);
      require_same(*clone, everything_readable(*twin), after);
      computation.run(*robot);
      require_same(*robot, everything_readable(*twin), fmt::format("{}, being cloned", after));
    }
  }
  return fmt::format("{} states, {} computations", states, computations.size());
}

std::string independent_clones(const Subject& subject) {
  constexpr int states = 8;
  for (std::uint64_t s = 0; s < states; ++s) {
    const std::uint64_t seed = subject.seed + 10 * s;
    host::System robot = create(subject);
    leave_past(*robot, seed);
    host::System clone = cloned(robot);
    const std::vector<float> before = everything(robot);
    leave_past(*clone, seed + 5);
    require(same_bits(everything(robot), before), "a change of the clone changes its original, seed {}", seed);
    const std::vector<float> of_clone = everything(clone);
    require(!same_bits(of_clone, before), "the clone did not change, seed {}", seed);
    leave_past(*robot, seed + 3);
    require(same_bits(everything(clone), of_clone), "a change of the original changes its clone, seed {}", seed);
    if (s % 2 == 0) {
      robot.reset();
      require(same_bits(everything(clone), of_clone), "the end of the original changes its clone, seed {}", seed);
    } else {
      const std::vector<float> last = everything(robot);
      clone.reset();
      require(same_bits(everything(robot), last), "the end of the clone changes its original, seed {}", seed);
    }
  }
  return fmt::format("{} states", states);
}

std::string independent_objects(const Subject& subject) {
  const host::Module module(subject.module);
  const host::System one = module.create();
  leave_past(*one, subject.seed);
  const std::vector<float> before = everything(one);
  const host::System other = module.create();
  leave_past(*other, subject.seed + 5);
  require(same_bits(everything(one), before), "a change of one object changes another");
  return "2 objects";
}

std::string destroys(const Subject& subject) {
  const host::Module module(subject.module);
  host::System robot = module.create();
  robot.get_deleter()(nullptr);
  robot.get_deleter()(robot->clone().release());
  robot->clone().reset();  // by the pointer alone
  robot->clone()->clone()->clone().reset();
  std::vector<host::System> many;
  for (int i = 0; i < 64; ++i) many.push_back(i % 3 == 0 ? module.create() : cloned(many.back()));
  for (std::size_t i = 0; i < many.size(); i += 2) many[i].reset();  // originals before their clones
  for (std::size_t i = 1; i < many.size(); i += 2) compute(random_state(subject.seed, *many[i]), *many[i]);
  return fmt::format("{} objects", many.size() + 5);
}

std::string aligns_matrices(const Subject& subject) {
  constexpr std::uintptr_t widest_vector = 64;
  const host::Module module(subject.module);
  std::vector<host::System> many;  // to see storage at many places
  for (int i = 0; i < 64; ++i) {
    many.push_back(i % 3 == 0 ? module.create() : cloned(many.back()));
    for (const float* begin : {many.back()->getGeneralizedMass().data(), many.back()->getJacobianInRoot().data()}) {
      require(reinterpret_cast<std::uintptr_t>(begin) % widest_vector == 0,
              "a matrix of object {} begins at {}, not at a multiple of {} bytes", i, fmt::ptr(begin), widest_vector);
    }
  }
  return fmt::format("{} matrices", 2 * many.size());
}

}  // namespace

Checks object_checks() {
  return {
      {"state.aligned-matrices", "Returned matrices begin where the widest vectors of a host may load.", 2, 30s,
       aligns_matrices},
      {"state.clone", "A clone goes on as its original would.", 2, 60s, clones},
      {"state.clone-independence", "A clone and its original share no state.", 2, 60s, independent_clones},
      {"state.independence", "Objects share no state but masses.", 2, 30s, independent_objects},
      {"state.destroy", "Objects and clones end by destroy in any order, and a null pointer is ignored.", 2, 30s,
       destroys},
  };
}

}  // namespace korvel::validate
