#include "host/replay/statistics.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/replay/words.h"

namespace korvel::host {

namespace {

using recording::Index;
using recording::NumberType;
using recording::Operation;
using recording::Resource;

constexpr std::array shares{0.5, 0.9, 0.99, 0.999};

// With these a cycle begins.
constexpr recording::Resources inputs = recording::inputs_of_object & ~bit(Resource::volatile_poses);

constexpr recording::Resources computed = bit(Resource::joint_pass) | bit(Resource::in_root) |
                                          bit(Resource::com_in_root) | bit(Resource::poses) | bit(Resource::com) |
                                          bit(Resource::mass_matrix) | bit(Resource::torques);

bool all_finite(const char* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    float value = 0;
    std::memcpy(&value, bytes + i * sizeof(value), sizeof(value));
    if (!std::isfinite(value)) return false;
  }
  return true;
}

}  // namespace

void Statistics::Durations::add(double seconds, const Place& at) {
  if (times.add(std::llround(seconds * 1e9), at.offset)) longest_at = at;
}

std::string Statistics::Durations::row(const std::string& name) const {
  std::string text = fmt::format("{:<34}{:>10}", name, times.count());
  for (const double share : shares) text += fmt::format("{:>10}", time_in_words(times.percentile(share)));
  const std::string longest = time_in_words(static_cast<double>(times.largest().ns));
  return text + fmt::format("{:>10}  {}\n", longest, in_words(longest_at));
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

Statistics::Statistics(const RecordingFile& recording) : recording_(recording), places_(recording.size()) {}

void Statistics::remark(const std::string& what, const RecordedCall& call) {
  Remark& remark = remarks_[what];
  if (remark.count++ == 0) remark.first = in_words(call.place()) + ": " + call.operation.name;
}

void Statistics::add(const RecordedCall& call, bool counts) {
  if (call.has(recording::restated)) return;
  Object& object = objects_[call.header.object];
  const std::uint32_t lost = follow(object, call);
  if (counts) {
    ++calls_;
    ++object.calls;
    lost_ += lost;
    last_time_ = call.time;
    if (call.has_returned()) {
      took_[call.header.operation].add(call.took, call.place());
      look_at_numbers(call);
    } else {
      remark("calls that did not return", call);
    }
  }
  if (!call.has_returned()) return;
  look_at_order(object, call, counts);
  if (counts) follow_cycle(object, call);
}

void Statistics::follow_cycle(Object& object, const RecordedCall& call) {
  const bool sets = (call.operation.writes & inputs) != 0;
  if (sets && !object.in_inputs) {
    if (object.cycle) {
      periods_.add(call.time - object.cycle->first.time, object.cycle->first);
      cycles_.add(object.cycle->time, object.cycle->first);
    }
    object.cycle = {call.place(), 0};
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

std::uint32_t Statistics::follow(Object& object, const RecordedCall& call) {
  const auto operation = static_cast<Operation>(call.header.operation);
  if (object.written.empty()) object.written.resize(places_.of_object());
  if (operation == Operation::create) object.followed = true;
  if (operation == Operation::clone) {
    const auto source =
        objects_.find(static_cast<std::uint32_t>(recording::Form<unsigned long>::take(call.arguments, 0)));
    if (source != objects_.end()) {
      object.written = source->second.written;
      object.followed = source->second.followed;
    }
  }
  const std::uint32_t lost = operation == Operation::create ? 0 : call.header.call - object.next_call;
  if (lost != 0) object.followed = false;
  object.next_call = call.header.call + 1;
  return lost;
}

void Statistics::look_at_order(Object& object, const RecordedCall& call, bool counts) {
  const recording::OperationEntry& e = call.operation;
  const auto tell = [&](const char* what) {
    if (counts) remark(what, call);
  };
  const bool may_be_none = e.index == Index::body_or_none || e.index == Index::none;
  if (call.has(recording::incomplete_inputs)) tell("calls with fewer values than are needed, or a long name");
  if (!may_be_none && call.index() >= recording::count_of(e.index, recording_.size())) {
    tell("indexes out of range");
    return;
  }
  if (call.has(recording::has_thrown)) tell("calls that threw");
  bool fresh = false;
  places_.for_each(e.reads & computed, call, [&](std::size_t place) { fresh = fresh || !object.written[place]; });
  if (fresh && object.followed) tell("reads of what has not been computed yet");
  places_.for_each(e.writes, call, [&](std::size_t place) {
    if (places_.is_of_object(place)) object.written[place] = true;
  });
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
  if (e.result_type() != NumberType::real || !call.has(recording::has_result)) return;
  const std::size_t numbers = e.result_numbers(recording_.size());
  const bool in_word = numbers * sizeof(float) <= sizeof(call.header.result);
  const char* result = in_word ? reinterpret_cast<const char*>(&call.header.result) : call.result;
  if (result != nullptr && !all_finite(result, numbers)) remark("results that are not finite", call);
}

std::string Statistics::text() const {
  std::string text = in_words(recording_);
  text += fmt::format("{} calls of {} objects up to {:.3f} s\n", calls_, objects_.size(), last_time_);
  if (lost_ > 0) text += fmt::format("{} calls are missing between those that are here, or before them\n", lost_);
  for (const auto& [what, remark] : remarks_)
    text += fmt::format("{} {}, first {}\n", remark.count, what, remark.first);
  text += fmt::format("\n{:<34}{:>10}{:>10}{:>10}{:>10}{:>10}{:>10}\n", "time of a call", "calls", "50 %", "90 %",
                      "99 %", "99.9 %", "longest");
  for (std::size_t i = 0; i < took_.size(); ++i) {
    if (took_[i].times.count() > 0) text += took_[i].row(recording::all_operations()[i].name);
  }
  if (cycles_.times.count() > 0) {
    text += "\nA cycle is an object's calls from where it begins to be set, until it is set again.\n";
    text += cycles_.row("time of a cycle's calls") + periods_.row("from cycle to cycle");
    text += "\nTime of a cycle's calls\n" + cycles_.times.bars() + "\nFrom cycle to cycle\n" + periods_.times.bars();
  }
  return text;
}

nlohmann::json Statistics::json() const {
  nlohmann::json operations = nlohmann::json::object();
  for (std::size_t i = 0; i < took_.size(); ++i) {
    if (took_[i].times.count() > 0) operations[recording::all_operations()[i].name] = took_[i].json();
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
