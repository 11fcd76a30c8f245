#pragma once

#include <array>
#include <boost/histogram.hpp>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/replay/resources.h"

namespace korvel::host {

/// Durations, of a nanosecond and more, in steps of a few percent.
class Durations {
 public:
  Durations();

  void add(double seconds, const RecordedCall& at);

  std::size_t count() const { return count_; }
  /// The duration that this share of all are below.
  double percentile(double share) const;
  double longest() const { return longest_; }
  const std::string& longest_at() const { return longest_at_; }
  /// Bars, a line for each quarter of a decade that has any.
  std::string bars() const;

 private:
  using Axis = boost::histogram::axis::regular<double, boost::histogram::axis::transform::log>;
  boost::histogram::histogram<std::tuple<Axis>> histogram_;
  std::size_t count_ = 0;
  double longest_ = 0;
  std::string longest_at_;
};

/// What a recording tells without being played: how often, how long, and what the contract does not allow.
class Statistics {
 public:
  explicit Statistics(const RecordingFile& recording);

  void add(const RecordedCall& call);

  std::string text() const;
  nlohmann::json json() const;
  /// The object with the most calls, 0 if there is none.
  std::uint32_t busiest_object() const;

 private:
  struct Object {
    std::size_t calls = 0;
    std::vector<bool> written;  ///< by place: set or computed
    bool followed = false;      ///< from its beginning on
    bool in_inputs = false;     ///< the last call set something
    double cycle_start = -1, cycle_time = 0;
    std::string cycle_at;
    std::uint32_t next_call = 1;
  };
  /// Something to look at, with its first place.
  struct Remark {
    std::size_t count = 0;
    std::string first;
  };

  void follow(Object& object, const RecordedCall& call);
  void remark(const std::string& what, const RecordedCall& call);
  void look_at_order(Object& object, const RecordedCall& call);
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
