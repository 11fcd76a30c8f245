#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/robot/module.h"

namespace korvel::validate {

/// What a check is given.
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

/// One promise of the interface, and how a module is held to it.
struct Check {
  std::string id;       ///< stable: group.name
  std::string promise;  ///< one sentence
  int level;            ///< 1 loads, 2 state, 3 laws, 4 real time and faults, 5 fuzz
  std::chrono::seconds limit;
  /// Runs in a process of its own that has not loaded the module yet. Returns the figure that was observed. Throws
  /// Finding or NotPossible; whatever else happens to the process is a finding too.
  std::string (*run)(const Subject& subject);
};

using Checks = std::vector<Check>;

/// An object of the module that is being checked; it keeps the module loaded.
inline host::System create(const Subject& subject) { return host::Module(subject.module).create(); }

/// The checks of some groups, one group after the other.
Checks joined(std::initializer_list<Checks (*)()> groups);

}  // namespace korvel::validate
