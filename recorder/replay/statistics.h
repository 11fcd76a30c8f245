#pragma once

#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
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
  /// The object with the most calls, 0 if there is none.
  std::uint32_t busiest_object() const;

 private:
  struct Durations {
    TimeHistogram times;
    CallPosition longest_at{};

    void add(double seconds, const CallPosition& at);
    std::string row(const std::string& name) const;
    std::string place_of_longest(const std::string& name) const;
    nlohmann::json json() const;
  };
  struct Cycle {
    CallPosition first;
    double time;  ///< of its calls
  };
  struct Object {
    std::size_t calls = 0;
    bool in_inputs = false;  ///< the last call set something
    std::optional<Cycle> cycle;
  };
  /// Something to look at, with its first place.
  struct Remark {
    std::size_t count = 0;
    std::string first;
  };

  void follow_cycle(Object& object, const RecordedCall& call);
  void remark(const std::string& what, const RecordedCall& call);
  void look_at_order(const RecordedCall& call, bool reads_early);
  void look_at_numbers(const RecordedCall& call);

  const RecordingFile& recording_;
  Provenance provenance_;
  std::array<Durations, operation_count> took_;
  Durations cycles_, periods_;
  std::map<std::uint32_t, Object> objects_;
  std::map<std::string, Remark> remarks_;
  std::size_t calls_ = 0, lost_ = 0;
  double last_time_ = 0;
};

}  // namespace korvel::host
