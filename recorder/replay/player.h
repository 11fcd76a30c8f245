#pragma once

#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/robot/module.h"
#include "recorder/replay/provenance.h"

namespace korvel::host {

/// A call that gave another result than was recorded.
struct Difference {
  std::uint64_t offset;  ///< of its record in the file
  std::string where;     ///< the call, its object, time and place in the file
  std::string call;      ///< with its arguments
  std::string inputs;    ///< of the object, several lines
  std::string results;   ///< the first number that differs, or the hashes
};

/// Performs recorded calls on the objects of a module. Results are compared bit by bit, zeros of either sign being the
/// same, where the record has them or their hash. Where calls were lost, what depends on them is not compared until it
/// has been set or computed anew.
class Player {
 public:
  /// Throws Error if the module's robot is not the recorded one. Sources are kept for a cut.
  Player(const RecordingFile& recording, const Module& module, bool keeps_sources = false);

  /// Performs the call, and compares its result if asked for. Calls that the contract does not allow, and calls that
  /// did not return, are not performed. True if the result differs.
  bool play(const RecordedCall& call, bool compare);
  /// The module failed in the call, which is not performed here.
  void fail(const RecordedCall& call, const std::string& words);

  /// The first call that differed.
  const std::optional<Difference>& first_difference() const { return first_difference_; }
  /// The first difference and how many calls were compared: in total and, of operations with a difference or of all, in
  /// a table.
  std::string text(bool shows_all_operations) const;
  nlohmann::json json() const;

  /// Copies an object that has made a call and has not ended.
  System copy(std::uint32_t object) const { return copy(*objects_.at(object)); }

  /// The sum of masses, which all objects share.
  float total_mass() const { return pristine_->getMass(); }

  Provenance& provenance() { return provenance_; }
  std::size_t gaps() const { return provenance_.gaps(); }

 private:
  /// An operation's calls.
  struct Played {
    std::size_t calls = 0;
    std::size_t compared = 0;
    std::size_t different = 0;
  };

  System copy(const tesk::RigidBodySystem& robot) const;
  /// An object of which calls are missing is made when it is first called.
  tesk::RigidBodySystem& robot_of(std::uint32_t object);
  void restate_total_mass(const RecordedCall& call);
  /// False if it threw.
  bool perform(tesk::RigidBodySystem& robot, const RecordedCall& call);
  /// Returns in words how the result differs, if it does.
  std::optional<std::string> compare(const RecordedCall& call, bool threw) const;
  void set_first_difference(const RecordedCall& call, const std::string& results);

  const RecordingFile& recording_;
  Module module_;
  System pristine_;  ///< only cloned: another one that is made would sum the masses
  Provenance provenance_;
  std::map<std::uint32_t, System> objects_;
  std::vector<float> result_;
  std::array<Played, operation_count> played_{};
  std::size_t not_performed_ = 0, not_comparable_ = 0;
  std::optional<Difference> first_difference_;
  std::string not_returned_;  ///< the last call that did not return
};

}  // namespace korvel::host
