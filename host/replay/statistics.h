#pragma once

#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/replay/resources.h"
#include "host/timing/time_histogram.h"

namespace korvel::host {

/// What a recording tells without being played: how often, how long, and what the contract does not allow.
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
    Place longest_at{};

    void add(double seconds, const Place& at);
    std::string row(const std::string& name) const;
    nlohmann::json json() const;
  };
  struct Cycle {
    Place first;
    double time;  ///< of its calls
  };
  struct Object {
    std::size_t calls = 0;
    std::vector<bool> written;  ///< by place: set or computed
    bool followed = false;      ///< from its beginning on
    bool in_inputs = false;     ///< the last call set something
    std::optional<Cycle> cycle;
    std::uint32_t next_call = 1;
  };
  /// Something to look at, with its first place.
  struct Remark {
    std::size_t count = 0;
    std::string first;
  };

  /// Returns how many calls of the object have been lost before this one.
  std::uint32_t follow(Object& object, const RecordedCall& call);
  void follow_cycle(Object& object, const RecordedCall& call);
  void remark(const std::string& what, const RecordedCall& call);
  void look_at_order(Object& object, const RecordedCall& call, bool counts);
  void look_at_numbers(const RecordedCall& call);

  const RecordingFile& recording_;
  ResourcePlaces places_;
  std::array<Durations, recording::operation_count> took_;
  Durations cycles_, periods_;
  std::map<std::uint32_t, Object> objects_;
  std::map<std::string, Remark> remarks_;
  std::size_t calls_ = 0, lost_ = 0;
  double last_time_ = 0;
};

}  // namespace korvel::host
