#pragma once

#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>

#include "host/timing/time_histogram.h"
#include "recorder/replay/provenance.h"

namespace korvel::host {

/// Counts and times the calls of a recording without playing it, and finds what the contract does not allow.
class Statistics {
 public:
  explicit Statistics(const RecordingFile& recording);

  /// Follows the calls from the first one on, and tells of those that count.
  void add(const RecordedCall& call, bool counts);
  /// There are no more.
  void end();

  std::string text() const;
  nlohmann::json json() const;
  /// Returns an object and how many calls it has: the one with this number, or, if it is 0, the one with most calls.
  std::pair<std::uint32_t, std::size_t> object(std::uint32_t number) const;

 private:
  using Durations = TimeHistogram<CallPosition>;
  /// A call with which a cycle begins, and what the object had done before.
  struct Beginning {
    CallPosition at;
    double spent;
    std::size_t computations;
    bool counts;
  };
  /// The cycles of an object if they begin with one of its setters.
  struct Cycles {
    double first = 0;  ///< when the first one began
    std::size_t count = 0;
    Beginning last{};
    Durations took, periods;  ///< of those that count
  };
  struct Object {
    double spent = 0;  ///< in calls
    std::size_t computations = 0;
    std::map<std::uint16_t, Cycles> cycles;  ///< by the operation with which they begin
  };
  /// Something to look at, with its first place.
  struct Remark {
    std::size_t count = 0;
    std::string first;
  };

  static void follow_cycle(Object& object, const RecordedCall& call, bool counts);
  /// Chooses the setter with which the cycles of an object begin.
  void end_cycles(Object& object);
  void remark(const std::string& what, const RecordedCall& call);
  void look_at_order(const RecordedCall& call, bool reads_early);
  void look_at_numbers(const RecordedCall& call);

  const RecordingFile& recording_;
  Provenance provenance_;
  std::array<Durations, operation_count> took_;
  Durations cycles_, periods_;
  std::set<std::string> begin_with_;  ///< the setters with which cycles begin
  std::map<std::uint32_t, Object> objects_;
  std::map<std::uint32_t, std::size_t> calls_of_;  ///< by object
  std::map<std::string, Remark> remarks_;
  std::size_t calls_ = 0, lost_ = 0;
  double last_time_ = 0;
};

}  // namespace korvel::host
