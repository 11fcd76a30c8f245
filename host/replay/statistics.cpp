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

constexpr double shortest = 1e-9;
constexpr double longest_of_all = 1e4;
constexpr unsigned bins_per_decade = 40;
constexpr unsigned decades = 13;
constexpr std::array shares{0.5, 0.9, 0.99, 0.999};

constexpr recording::Resources inputs =
    bit(Resource::root_pose) | bit(Resource::root_velocity) | bit(Resource::root_acceleration) |
    bit(Resource::positions) | bit(Resource::velocities) | bit(Resource::accelerations) | bit(Resource::wrenches);

std::string duration_in_words(double seconds) {
  if (seconds < 1e-6) return fmt::format("{:.0f} ns", seconds * 1e9);
  if (seconds < 1e-3) return fmt::format("{:.1f} us", seconds * 1e6);
  if (seconds < 1) return fmt::format("{:.2f} ms", seconds * 1e3);
  return fmt::format("{:.2f} s", seconds);
}

std::string row(const std::string& name, const Durations& durations) {
  std::string text = fmt::format("{:<34}{:>10}", name, durations.count());
  for (const double share : shares) text += fmt::format("{:>10}", duration_in_words(durations.percentile(share)));
  return text + fmt::format("{:>10}  {}\n", duration_in_words(durations.longest()), durations.longest_at());
}

nlohmann::json json_of(const Durations& durations) {
  return {{"count", durations.count()},           {"p50", durations.percentile(0.5)},
          {"p90", durations.percentile(0.9)},     {"p99", durations.percentile(0.99)},
          {"p99.9", durations.percentile(0.999)}, {"longest", durations.longest()},
          {"longest_at", durations.longest_at()}};
}

bool all_finite(const char* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    float value = 0;
    std::memcpy(&value, bytes + i * sizeof(value), sizeof(value));
    if (!std::isfinite(value)) return false;
  }
  return true;
}

}  // namespace

// ---- Durations ------------------------------------------------------------------------------------------------------

Durations::Durations() : histogram_(std::tuple(Axis(bins_per_decade * decades, shortest, longest_of_all))) {}

void Durations::add(double seconds, const RecordedCall& at) {
  histogram_(std::max(seconds, shortest));
  ++count_;
  if (seconds < longest_ && !longest_at_.empty()) return;
  longest_ = seconds;
  longest_at_ = place_in_words(at);
}

double Durations::percentile(double share) const {
  double below = 0;
  for (const auto& bin : boost::histogram::indexed(histogram_)) {
    below += *bin;
    if (below >= share * static_cast<double>(count_)) return std::min(bin.bin().upper(), longest_);
  }
  return longest_;
}

std::string Durations::bars() const {
  constexpr unsigned width = 50;
  constexpr unsigned per_line = bins_per_decade / 4;
  std::vector<double> lines(4 * decades);
  for (const auto& bin : boost::histogram::indexed(histogram_)) {
    lines[static_cast<unsigned>(bin.index()) / per_line] += *bin;
  }
  const auto has_any = [](double n) { return n > 0; };
  const auto first = std::find_if(lines.begin(), lines.end(), has_any);
  const auto last = std::find_if(lines.rbegin(), lines.rend(), has_any).base();
  const double most = *std::max_element(lines.begin(), lines.end());
  std::string text;
  for (auto line = first; line < last; ++line) {
    const double from = shortest * std::pow(10.0, static_cast<double>(line - lines.begin()) / 4);
    text += fmt::format("{:>10} {:>10} {}\n", duration_in_words(from), *line,
                        std::string(static_cast<std::size_t>(std::ceil(width * *line / most)), '#'));
  }
  return text;
}

// ---- Statistics -----------------------------------------------------------------------------------------------------

Statistics::Statistics(const RecordingFile& recording) : recording_(recording), places_(recording.size()) {}

void Statistics::remark(const std::string& what, const RecordedCall& call) {
  Remark& remark = remarks_[what];
  if (remark.count++ == 0) remark.first = place_in_words(call) + ": " + call.operation.name;
}

void Statistics::add(const RecordedCall& call) {
  if (call.has(recording::restated)) return;
  ++calls_;
  last_time_ = call.time;
  auto [found, is_new] = objects_.try_emplace(call.header.object);
  Object& object = found->second;
  follow(object, call);
  ++object.calls;
  if (!call.has_returned()) {
    remark("calls that did not return", call);
    return;
  }
  took_[call.header.operation].add(call.took, call);
  look_at_order(object, call);
  look_at_numbers(call);
  const bool sets = (call.operation.writes & inputs) != 0;
  if (sets && !object.in_inputs) {
    if (object.cycle_start >= 0) {
      periods_.add(call.time - object.cycle_start, call);
      cycles_.add(object.cycle_time, call);
    }
    object.cycle_start = call.time;
    object.cycle_time = 0;
  }
  object.in_inputs = sets;
  object.cycle_time += call.took;
}

void Statistics::follow(Object& object, const RecordedCall& call) {
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
  const std::uint32_t lost = call.header.call - object.next_call;
  if (lost != 0 && operation != Operation::create) {
    object.followed = false;
    lost_ += lost;
  }
  object.next_call = call.header.call + 1;
}

void Statistics::look_at_order(Object& object, const RecordedCall& call) {
  const recording::OperationEntry& e = call.operation;
  const bool may_be_none = e.index == Index::body_or_none || e.index == Index::none;
  if (call.has(recording::incomplete_inputs)) remark("calls with fewer values than are needed, or a long name", call);
  if (!may_be_none && call.index() >= recording::count_of(e.index, recording_.size())) {
    remark("indexes out of range", call);
    return;
  }
  if (call.has(recording::has_thrown)) remark("calls that threw", call);
  constexpr recording::Resources computed = bit(Resource::in_root) | bit(Resource::joint_pass) | bit(Resource::com) |
                                            bit(Resource::mass_matrix) | bit(Resource::torques) | bit(Resource::poses);
  bool fresh = false;
  places_.for_each(e.reads & computed, call, [&](std::size_t place) { fresh = fresh || !object.written[place]; });
  if (fresh && object.followed) remark("reads of what has not been computed yet", call);
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
  const recording::FileHeader& header = recording_.header();
  std::string text = fmt::format("{} calls of {} objects in {:.3f} s\n", calls_, objects_.size(), last_time_);
  if (!recording_.ended()) text += "the recording was not ended: the process was, or is still running\n";
  if (recording_.blocks_left_out() > 0) text += fmt::format("{} blocks are not whole\n", recording_.blocks_left_out());
  if (header.lost > 0)
    text += fmt::format("{} calls were not recorded: the disk was full, or slower than the host\n", header.lost);
  if (lost_ > 0) text += fmt::format("{} calls are missing between those that are here, or before them\n", lost_);
  if (header.overlapped > 0) {
    text += fmt::format("{} calls overlapped another one of the same object, which the contract does not allow\n",
                        header.overlapped);
  }
  for (const auto& [what, remark] : remarks_)
    text += fmt::format("{} {}, first {}\n", remark.count, what, remark.first);
  text += fmt::format("\n{:<34}{:>10}{:>10}{:>10}{:>10}{:>10}{:>10}\n", "time of a call", "calls", "50 %", "90 %",
                      "99 %", "99.9 %", "longest");
  for (std::size_t i = 0; i < took_.size(); ++i) {
    if (took_[i].count() > 0) text += row(recording::all_operations()[i].name, took_[i]);
  }
  if (cycles_.count() > 0) {
    text += "\nA cycle is an object's calls from where it begins to be set, until it is set again.\n";
    text += row("time of a cycle's calls", cycles_) + row("from cycle to cycle", periods_);
    text += "\nTime of a cycle's calls\n" + cycles_.bars() + "\nFrom cycle to cycle\n" + periods_.bars();
  }
  return text;
}

nlohmann::json Statistics::json() const {
  nlohmann::json operations = nlohmann::json::object();
  for (std::size_t i = 0; i < took_.size(); ++i) {
    if (took_[i].count() > 0) operations[recording::all_operations()[i].name] = json_of(took_[i]);
  }
  nlohmann::json remarks = nlohmann::json::array();
  for (const auto& [what, remark] : remarks_) {
    remarks.push_back({{"what", what}, {"count", remark.count}, {"first", remark.first}});
  }
  return {{"calls", calls_},
          {"objects", objects_.size()},
          {"seconds", last_time_},
          {"ended", recording_.ended()},
          {"not_recorded", recording_.header().lost},
          {"missing", lost_},
          {"overlapped", recording_.header().overlapped},
          {"remarks", remarks},
          {"operations", operations},
          {"cycle", json_of(cycles_)},
          {"from_cycle_to_cycle", json_of(periods_)}};
}

std::uint32_t Statistics::busiest_object() const {
  const auto fewer = [](const auto& a, const auto& b) { return a.second.calls < b.second.calls; };
  const auto most = std::max_element(objects_.begin(), objects_.end(), fewer);
  return most == objects_.end() ? 0 : most->first;
}

}  // namespace korvel::host
