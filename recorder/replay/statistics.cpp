#include "recorder/replay/statistics.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "motion/csv/printable.h"
#include "recorder/replay/words.h"

namespace korvel::host {

namespace {

using recording::NumberType;

constexpr std::array shares{0.5, 0.9, 0.99, 0.999};

// With these a cycle begins.
constexpr Resources inputs{Resource::root_pose, Resource::root_velocity, Resource::root_acceleration,
                           Resource::positions, Resource::velocities,    Resource::accelerations,
                           Resource::wrenches};

bool all_finite(const char* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    float value = 0;
    std::memcpy(&value, bytes + i * sizeof(value), sizeof(value));
    if (!std::isfinite(value)) return false;
  }
  return true;
}

/// Three digits or more, in a column.
std::string in_microseconds(double ns) {
  const double us = ns / 1e3;
  return fmt::format("{:>8.{}f}", us, us < 10 ? 2 : us < 100 ? 1 : 0);
}

}  // namespace

void Statistics::Durations::add(double seconds, const CallPosition& at) {
  if (times.add(std::llround(seconds * 1e9), at.offset)) longest_at = at;
}

std::string Statistics::Durations::row(const std::string& name) const {
  std::string text = fmt::format("{:<31}{:>9}", name, times.count());
  for (const double share : shares) text += in_microseconds(times.percentile(share));
  return text + in_microseconds(static_cast<double>(times.largest().ns)) + '\n';
}

std::string Statistics::Durations::place_of_longest(const std::string& name) const {
  return fmt::format("{:<31}{:>14.6f} s, call {} of object {}\n", name, longest_at.time, longest_at.call,
                     longest_at.object);
}

nlohmann::json Statistics::Durations::json() const {
  const auto seconds = [&](double share) { return times.percentile(share) * 1e-9; };
  return {{"count", times.count()},
          {"p50", seconds(0.5)},
          {"p90", seconds(0.9)},
          {"p99", seconds(0.99)},
          {"p99.9", seconds(0.999)},
          {"longest", static_cast<double>(times.largest().ns) * 1e-9},
          {"longest_at", in_words(longest_at)}};
}

Statistics::Statistics(const RecordingFile& recording) : recording_(recording), provenance_(recording) {}

void Statistics::remark(const std::string& what, const RecordedCall& call) {
  Remark& remark = remarks_[what];
  if (remark.count++ == 0) remark.first = in_words(call.position()) + ": " + call.operation.name;
}

void Statistics::add(const RecordedCall& call, bool counts) {
  const Provenance::Followed followed = provenance_.follow(call);
  if (call.has(recording::restated) || !counts) return;
  Object& object = objects_[call.header.object];
  ++calls_;
  ++object.calls;
  lost_ += followed.lost;
  last_time_ = call.time;
  if (!call.has_returned()) return remark("calls that did not return", call);
  took_[call.header.operation].add(call.took, call.position());
  look_at_numbers(call);
  look_at_order(call, followed.reads_early);
  follow_cycle(object, call);
}

void Statistics::follow_cycle(Object& object, const RecordedCall& call) {
  const bool sets = call.operation.writes.meets(inputs);
  if (sets && !object.in_inputs) {
    if (object.cycle) {
      periods_.add(call.time - object.cycle->first.time, object.cycle->first);
      cycles_.add(object.cycle->time, object.cycle->first);
    }
    object.cycle = {call.position(), 0};
  }
  object.in_inputs = sets;
  if (object.cycle) object.cycle->time += call.took;
}

void Statistics::end() {
  for (auto& [number, object] : objects_) {
    if (object.cycle) cycles_.add(object.cycle->time, object.cycle->first);
    object.cycle.reset();
  }
}

void Statistics::look_at_order(const RecordedCall& call, bool reads_early) {
  if (call.has(recording::incomplete_inputs)) remark("calls with fewer values than are needed, or a long name", call);
  if (!call.has_valid_index(recording_.size())) return remark("indexes out of range", call);
  if (call.has(recording::has_thrown)) remark("calls that threw", call);
  if (reads_early) remark("reads of what has not been computed yet", call);
}

void Statistics::look_at_numbers(const RecordedCall& call) {
  const recording::OperationEntry& e = call.operation;
  const char* at = call.arguments;
  for (const recording::Shape& shape : e.arguments) {
    const std::size_t bytes = shape.bytes(recording_.size());
    if (shape.type == NumberType::real && !all_finite(at, bytes / sizeof(float))) {
      remark("arguments that are not finite", call);
    }
    at += bytes;
  }
  if (e.result.type != NumberType::real || !call.has(recording::has_result)) return;
  const std::size_t numbers = e.result.numbers(recording_.size());
  const bool in_word = numbers * sizeof(float) <= sizeof(call.header.result);
  const char* result = in_word ? reinterpret_cast<const char*>(&call.header.result) : call.result;
  if (result != nullptr && !all_finite(result, numbers)) remark("results that are not finite", call);
}

std::string Statistics::text() const {
  std::string text = in_words(recording_);
  text +=
      fmt::format("{} of {} up to {:.3f} s\n", counted(calls_, "call"), counted(objects_.size(), "object"), last_time_);
  if (lost_ > 0) text += fmt::format("{} missing between the recorded ones, or before them\n", counted(lost_, "call"));
  for (const auto& [what, remark] : remarks_)
    text += fmt::format("{} {}; the first is\n  {}\n", remark.count, what, remark.first);
  text += fmt::format("\n{:<31}{:>9}{:>8}{:>8}{:>8}{:>8}{:>8}\n", "time of a call [us]", "calls", "50 %", "90 %",
                      "99 %", "99.9 %", "longest");
  std::string places = "\nLongest calls and cycles\n";
  const auto add = [&](const Durations& durations, const std::string& name) {
    if (durations.times.count() == 0) return;
    text += durations.row(name);
    places += durations.place_of_longest(name);
  };
  for (std::size_t i = 0; i < took_.size(); ++i) add(took_[i], recording::all_operations[i].name);
  if (cycles_.times.count() > 0) text += "\nA cycle begins when an object is set, and ends when it is set again.\n";
  add(cycles_, "time of a cycle's calls");
  add(periods_, "from cycle to cycle");
  return text + places;
}

nlohmann::json Statistics::json() const {
  nlohmann::json operations = nlohmann::json::object();
  for (std::size_t i = 0; i < took_.size(); ++i) {
    if (took_[i].times.count() > 0) operations[recording::all_operations[i].name] = took_[i].json();
  }
  nlohmann::json remarks = nlohmann::json::array();
  for (const auto& [what, remark] : remarks_) {
    remarks.push_back({{"what", what}, {"count", remark.count}, {"first", remark.first}});
  }
  return {{"calls", calls_},         {"objects", objects_.size()},
          {"seconds", last_time_},   {"missing", lost_},
          {"remarks", remarks},      {"operations", operations},
          {"cycle", cycles_.json()}, {"from_cycle_to_cycle", periods_.json()}};
}

std::uint32_t Statistics::busiest_object() const {
  const auto fewer = [](const auto& a, const auto& b) { return a.second.calls < b.second.calls; };
  const auto most = std::max_element(objects_.begin(), objects_.end(), fewer);
  return most == objects_.end() ? 0 : most->first;
}

}  // namespace korvel::host
