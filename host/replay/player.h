#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/replay/resources.h"
#include "host/robot/module.h"

namespace korvel::host {

/// What a call gave another result than was recorded.
struct Difference {
  std::string where;    ///< the call, its object, time and place in the file
  std::string call;     ///< with its arguments
  std::string inputs;   ///< of the object, several lines
  std::string results;  ///< the first number that differs, or the hashes
};

/// Is told of what a Player does.
class PlayObserver {
 public:
  PlayObserver() = default;
  PlayObserver(const PlayObserver&) = delete;
  PlayObserver& operator=(const PlayObserver&) = delete;
  virtual ~PlayObserver() = default;
  /// What the object was set to and computed is not known any more.
  virtual void lost(std::uint32_t object) = 0;
  virtual void made(const RecordedCall& call) = 0;
  virtual void cloned(const RecordedCall& call, std::uint32_t source) = 0;
  virtual void ended(std::uint32_t object) = 0;
  virtual void performed(const RecordedCall& call) = 0;
};

/// Of an operation's calls.
struct Played {
  std::size_t calls = 0;
  std::size_t compared = 0;
  std::size_t different = 0;
};

/// Performs recorded calls on the objects of a module. Results are compared bit by bit, zeros of either sign being the
/// same, where the record has them or their hash. Where calls were lost, what depends on them is not compared until it
/// has been set or computed anew.
class Player {
 public:
  /// Throws Error if the module's robot is not the recorded one.
  Player(const RecordingFile& recording, const Module& module, PlayObserver* observer = nullptr);

  /// Performs the call, and compares its result if asked for. Calls that the contract does not allow, and calls that
  /// did not return, are not performed.
  std::optional<Difference> play(const RecordedCall& call, bool compare);

  /// That the call, which is not performed here, gives other results, in words.
  Difference difference(const RecordedCall& call, const std::string& results) const;

  /// Of an object that has made a call and has not ended.
  System copy(std::uint32_t object) const { return copy(objects_.at(object).robot, {}).robot; }

  const std::array<Played, recording::operation_count>& played() const { return played_; }
  std::size_t not_performed() const { return not_performed_; }
  std::size_t not_comparable() const { return not_comparable_; }
  std::size_t gaps() const { return gaps_; }

 private:
  struct Object {
    System robot;
    std::vector<bool> known;  ///< by place
    std::uint32_t next_call = 1;
    bool takes_restated = false;
  };

  Object copy(const System& robot, std::vector<bool> known) const;
  Object& object_of(const RecordedCall& call);
  /// Whether it is a call that makes an object, of which nothing is missing.
  bool make(const RecordedCall& call);
  void restate(const RecordedCall& call);
  void restate_total_mass(const RecordedCall& call);
  void lose(std::uint32_t number, Object& object);
  void know(recording::Resource of_module, bool known);
  bool knows_all_inertias() const;
  void know_inertia(const RecordedCall& call);
  void follow_shared(const RecordedCall& call);
  bool is_allowed(const RecordedCall& call) const;
  bool knows(const Object& object, recording::Resources kinds, const RecordedCall& call) const;
  void note(Object& object, const RecordedCall& call, bool is_performed);
  /// False if it threw.
  bool perform(Object& object, const RecordedCall& call);
  void read_shown(const Object& object, const RecordedCall& call);
  std::optional<Difference> compare(const RecordedCall& call, bool threw) const;

  const RecordingFile& recording_;
  Module module_;
  PlayObserver* observer_;
  System pristine_;  ///< only cloned: another one that is made would sum the masses
  ResourcePlaces places_;
  std::map<std::uint32_t, Object> objects_;
  std::vector<bool> module_known_;
  std::vector<std::string> inertias_;  ///< the last arguments, by body
  std::uint16_t shared_changes_ = 0;
  bool takes_inertias_ = false;  ///< that are restated
  std::vector<float> result_;
  std::array<Played, recording::operation_count> played_{};
  std::size_t not_performed_ = 0, not_comparable_ = 0, gaps_ = 0;
};

}  // namespace korvel::host
