#pragma once

#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

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
  /// The object with the most calls, and how many it has; zeros if there is none.
  std::pair<std::uint32_t, std::size_t> busiest_object() const;

 private:
  struct Durations {
    TimeHistogram times;
    CallPosition longest_at{};

    void add(double seconds, const CallPosition& at);
    std::string row(const std::string& name) const;
    std::string place_of_longest(const std::string& name) const;
    nlohmann::json json() const;
  };
  /// A call with which a cycle may begin, and what the object had done before.
  struct Beginning {
    CallPosition at;
    double spent;
    std::size_t computations;
  };
  struct Object {
    double spent = 0;  ///< in calls
    std::size_t computations = 0;
    std::map<std::uint16_t, std::vector<Beginning>> setters;  ///< by operation
  };
  /// Something to look at, with its first place.
  struct Remark {
    std::size_t count = 0;
    std::string first;
  };

  static void follow_cycle(Object& object, const RecordedCall& call);
  void remark(const std::string& what, const RecordedCall& call);
  void look_at_order(const RecordedCall& call, bool reads_early);
  void look_at_numbers(const RecordedCall& call);

  const RecordingFile& recording_;
  Provenance provenance_;
  std::array<Durations, operation_count> took_;
  Durations cycles_, periods_;
  std::map<std::uint32_t, Object> objects_;
  std::map<std::uint32_t, std::size_t> calls_of_;  ///< by object
  std::map<std::string, Remark> remarks_;
  std::size_t calls_ = 0, lost_ = 0;
  double first_time_ = 0, last_time_ = 0;
};

}  // namespace korvel::host
