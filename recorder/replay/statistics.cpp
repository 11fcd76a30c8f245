#include "recorder/replay/statistics.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "motion/csv/printable.h"
#include "recorder/replay/words.h"

namespace korvel::host {

namespace {

using recording::NumberType;

constexpr std::pair<const char*, double> shares[] = {{"p50", 0.5}, {"p90", 0.9}, {"p99", 0.99}, {"p99.9", 0.999}};

// A cycle begins with one of these inputs.
constexpr Resources inputs{Resource::root_pose, Resource::root_velocity, Resource::root_acceleration,
                           Resource::positions, Resource::velocities,    Resource::accelerations,
                           Resource::wrenches};

// The first setter begins cycles, unless it only prepares the object: it is called at least once in so many calls of
// the one that is called most.
constexpr std::size_t seldom = 20;

/// Three digits or more, in a column.
std::string in_microseconds(double ns) {
  const double us = ns / 1e3;
  return fmt::format("{:>8.{}f}", us, us < 10 ? 2 : us < 100 ? 1 : 0);
}

/// Returns how fast a recording has grown; 2^20 bytes are a megabyte, as KORVEL_RECORD_LIMIT counts them. Each object
/// has at least one block, which says nothing of how fast a short recording would grow.
std::optional<double> megabytes_per_minute(const RecordingFile& recording) {
  constexpr double shortest = 10;  // [s]
  constexpr double megabytes = static_cast<double>(recording::block_size) / (1 << 20);
  if (recording.duration() < shortest) return {};
  return static_cast<double>(recording.last_block()) * megabytes / recording.duration() * 60;
}

using Durations = TimeHistogram<CallPosition>;

std::int64_t nanoseconds(double seconds) { return std::llround(seconds * 1e9); }

std::string row(const std::string& name, const Durations& times) {
  std::string text = fmt::format("{:<31}{:>9}", name, times.count());
  for (const auto& [key, share] : shares) text += in_microseconds(times.percentile(share));
  return text + in_microseconds(static_cast<double>(times.largest().ns)) + '\n';
}

std::string place_of_longest(const std::string& name, const Durations& times) {
  const CallPosition& at = times.largest().place;
  return fmt::format("{:<31}{:>14.6f} s, call {} of object {}\n", name, at.time, at.call, at.object);
}

nlohmann::json in_json(const Durations& times) {
  const auto& [longest, at] = times.largest();
  nlohmann::json all{
      {"count", times.count()}, {"longest", static_cast<double>(longest) * 1e-9}, {"longest_at", in_words(at)}};
  for (const auto& [key, share] : shares) all[key] = times.percentile(share) * 1e-9;
  return all;
}

}  // namespace

Statistics::Statistics(const RecordingFile& recording) : recording_(recording), provenance_(recording) {}

void Statistics::remark(const std::string& what, const RecordedCall& call) {
  Remark& remark = remarks_[what];
  if (remark.count++ == 0) remark.first = in_words(call.position()) + ": " + call.operation.name;
}

void Statistics::add(const RecordedCall& call, bool counts) {
  const Provenance::Followed followed = provenance_.follow(call);
  if (call.has(recording::restated)) return;
  follow_cycle(objects_[call.header.object], call, counts);
  if (call.is<&::destroy>()) {
    end_cycles(objects_[call.header.object]);
    objects_.erase(call.header.object);
  }
  if (!counts) return;
  ++calls_;
  ++calls_of_[call.header.object];
  lost_ += followed.lost;
  last_time_ = call.time;
  if (!call.has_returned()) return remark("calls that did not return", call);
  took_[call.header.operation].add(nanoseconds(call.took), call.position());
  look_at_numbers(call);
  look_at_order(call, followed.reads_early);
}

void Statistics::follow_cycle(Object& object, const RecordedCall& call, bool counts) {
  if (call.operation.writes.meets(inputs)) {
    Cycles& cycles = object.cycles[call.header.operation];
    const Beginning& last = cycles.last;
    if (cycles.count == 0) cycles.first = call.time;
    // Setting several joints one after the other begins one cycle.
    if (cycles.count == 0 || object.computations > last.computations) {
      if (last.counts) {
        cycles.took.add(nanoseconds(object.spent - last.spent), last.at);
        cycles.periods.add(nanoseconds(call.time - last.at.time), last.at);
      }
      ++cycles.count;
      cycles.last = {call.position(), object.spent, object.computations, counts};
    }
  }
  if (!call.operation.stages.empty()) ++object.computations;
  if (call.has_returned()) object.spent += call.took;
}

void Statistics::end_cycles(Object& object) {
  std::size_t most = 0;
  for (const auto& [operation, cycles] : object.cycles) most = std::max(most, cycles.count);
  std::pair<const std::uint16_t, Cycles>* first = nullptr;
  for (auto& each : object.cycles) {
    const bool is_earlier = first == nullptr || each.second.first < first->second.first;
    if (each.second.count * seldom >= most && is_earlier) first = &each;
  }
  if (first == nullptr) return;
  auto& [operation, cycles] = *first;
  if (cycles.last.counts) cycles.took.add(nanoseconds(object.spent - cycles.last.spent), cycles.last.at);
  if (cycles.took.count() == 0) return;
  begin_with_.insert(recording::all_operations[operation].name);
  cycles_.add(cycles.took);
  periods_.add(cycles.periods);
}

void Statistics::end() {
  for (auto& [number, object] : objects_) end_cycles(object);
  objects_.clear();
}

void Statistics::look_at_order(const RecordedCall& call, bool reads_early) {
  if (call.has(recording::incomplete_inputs)) remark("calls with fewer values than are needed, or a long name", call);
  if (!call.has_valid_index(recording_.size())) return remark("indexes out of range", call);
  if (call.has(recording::has_thrown)) remark("calls that threw", call);
  if (reads_early) remark("reads of what has not been computed yet", call);
}

void Statistics::look_at_numbers(const RecordedCall& call) {
  const recording::OperationEntry& e = call.operation;
  if (!call.has_finite_arguments(recording_.size())) remark("arguments that are not finite", call);
  if (e.result.type != NumberType::real || !call.has(recording::has_result)) return;
  const std::size_t numbers = e.result.numbers(recording_.size());
  const bool in_word = numbers * sizeof(float) <= sizeof(call.header.result);
  const char* result = in_word ? reinterpret_cast<const char*>(&call.header.result) : call.result;
  if (result != nullptr && !all_finite(result, numbers)) remark("results that are not finite", call);
}

std::string Statistics::text() const {
  std::string text = in_words(recording_);
  text += fmt::format("{} of {} up to {:.3f} s\n", counted(calls_, "call"), counted(calls_of_.size(), "object"),
                      last_time_);
  if (const auto rate = megabytes_per_minute(recording_)) {
    text += fmt::format("{:.1f} MB a minute, for the choice of KORVEL_RECORD_LIMIT\n", *rate);
  }
  if (lost_ > 0) text += fmt::format("{} missing between the recorded ones, or before them\n", counted(lost_, "call"));
  for (const auto& [what, remark] : remarks_)
    text += fmt::format("{} {}; the first is\n  {}\n", remark.count, what, remark.first);
  text += fmt::format("\n{:<31}{:>9}{:>8}{:>8}{:>8}{:>8}{:>8}\n", "time of a call [us]", "calls", "50 %", "90 %",
                      "99 %", "99.9 %", "longest");
  std::string places = "\nLongest calls and cycles\n";
  const auto add = [&](const Durations& durations, const std::string& name) {
    if (durations.count() == 0) return;
    text += row(name, durations);
    places += place_of_longest(name, durations);
  };
  for (std::size_t i = 0; i < took_.size(); ++i) add(took_[i], recording::all_operations[i].name);
  if (!begin_with_.empty()) text += fmt::format("\nA cycle begins with {}.\n", fmt::join(begin_with_, " or "));
  add(cycles_, "time of a cycle's calls");
  add(periods_, "from cycle to cycle");
  return text + places;
}

nlohmann::json Statistics::json() const {
  nlohmann::json operations = nlohmann::json::object();
  for (std::size_t i = 0; i < took_.size(); ++i) {
    if (took_[i].count() > 0) operations[recording::all_operations[i].name] = in_json(took_[i]);
  }
  nlohmann::json remarks = nlohmann::json::array();
  for (const auto& [what, remark] : remarks_) {
    remarks.push_back({{"what", what}, {"count", remark.count}, {"first", remark.first}});
  }
  nlohmann::json json{{"calls", calls_},           {"objects", calls_of_.size()},
                      {"seconds", last_time_},     {"missing", lost_},
                      {"remarks", remarks},        {"operations", operations},
                      {"cycle", in_json(cycles_)}, {"from_cycle_to_cycle", in_json(periods_)}};
  if (const auto rate = megabytes_per_minute(recording_)) json["megabytes_per_minute"] = *rate;
  return json;
}

std::pair<std::uint32_t, std::size_t> Statistics::object(std::uint32_t number) const {
  const auto fewer = [](const auto& a, const auto& b) { return a.second < b.second; };
  const auto found = number != 0 ? calls_of_.find(number) : std::max_element(calls_of_.begin(), calls_of_.end(), fewer);
  return found != calls_of_.end() ? *found : std::pair<const std::uint32_t, std::size_t>(number, 0);
}

}  // namespace korvel::host
