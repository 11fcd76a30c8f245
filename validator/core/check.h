#pragma once

#include <fmt/format.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/robot/module.h"

namespace korvel::validate {

/// The module and the seed that a check is given.
struct Subject {
  std::filesystem::path module;
  std::uint64_t seed;  ///< of every random choice: the same seed repeats the check exactly
};

/// A promise that is broken. The text says what was seen, what was expected, and at which inputs.
class Finding : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// This machine or this build cannot look: a reason, no verdict about the module.
class NotPossible : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// Throws a Finding with these words unless the promise holds.
template <typename... Args>
void require(bool holds, fmt::format_string<Args...> words, Args&&... args) {
  if (!holds) throw Finding(fmt::format(words, std::forward<Args>(args)...));
}

/// One promise of the interface, and how a module is held to it.
struct Check {
  std::string id;       ///< stable: group.name
  std::string promise;  ///< one sentence
  /// Runs in a process of its own that has not loaded the module yet. Returns the figure that was observed. Throws
  /// Finding or NotPossible; whatever else happens to the process is a finding too.
  std::string (*run)(const Subject& subject);
  std::chrono::seconds limit = std::chrono::seconds(60);
  /// 1 loads, 2 state, 3 laws, 4 real time and faults, 5 fuzz; 0 stands for that of the group.
  int level = 0;
};

using Checks = std::vector<Check>;

/// An object of the module that is being checked; it keeps the module loaded.
inline host::System create(const Subject& subject) { return host::Module(subject.module).create(); }

/// Calls f with as many seeds as `states`, `apart` from one another. Returns the number of states in words.
template <typename Function>
std::string with_seeds(const Subject& subject, std::uint64_t states, Function f, std::uint64_t apart = 1) {
  for (std::uint64_t s = 0; s < states; ++s) f(subject.seed + apart * s);
  return fmt::format("{} states", states);
}

// The groups, a file each. Those of a level have a directory.
Checks loading_checks();                  ///< the file, its entry points, what it leaves behind
Checks answer_checks(), object_checks();  ///< inputs, results and objects are as documented
namespace laws {
Checks positions(), dynamics(), known_bodies();  ///< the laws of mechanics
}
Checks side_effect_checks(), fault_checks(), floating_point_checks();  ///< what a control loop relies on
Checks fuzz_checks();  ///< random calls beside a model of what every object holds

enum class CheckVerdict { held, finding, not_possible };

struct Outcome {
  CheckVerdict verdict;
  std::string text;  ///< the figure, or what was found, or why nothing could be
  double seconds;
};

/// Runs each check in a child process, at most `jobs` at a time, and hands over the outcomes in the order of the checks
/// as soon as they are known. A child that crashes, hangs, exits, or lets an exception escape is a finding.
/// Only the check itself is heard, whatever a module writes to what it finds open, and what it starts ends with it.
/// The calling process must have a single thread. Throws std::system_error if no process can be started.
void run_checks(const Checks& checks, const Subject& subject, unsigned jobs,
                const std::function<void(const Check&, const Outcome&)>& report);

}  // namespace korvel::validate
