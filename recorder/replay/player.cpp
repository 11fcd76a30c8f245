#include "recorder/replay/player.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "host/robot/robot.h"
#include "motion/csv/printable.h"
#include "recorder/format/denormals.h"
#include "recorder/format/hash.h"
#include "recorder/replay/words.h"

namespace korvel::host {

namespace {

using recording::NumberType;

/// Returns the number as a record has it.
std::uint64_t word_of(float number) { return recording::result_word(NumberType::real, &number, sizeof(number)); }

std::string with_bits(float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof(bits));
  return fmt::format("{} ({:#010x})", value, bits);
}

}  // namespace

Player::Player(const RecordingFile& recording, const Module& module, bool keeps_sources)
    : recording_(recording),
      module_(module),
      pristine_(host::make_system(module_)),
      provenance_(recording, keeps_sources) {
  if (body_names(*pristine_) != recording.bodies() || joint_names(*pristine_) != recording.joints() ||
      static_cast<int>(pristine_->getNbVolatileFrames()) != recording.size().volatile_frames) {
    throw Error("{}: recorded with another robot than that of module '{}'", recording.path().string(),
                module_.path().string());
  }
  std::size_t most = 0;
  for (const recording::OperationEntry& e : recording::all_operations) {
    most = std::max(most, recording::padded(e.result.bytes(recording.size())) / sizeof(float));
  }
  result_.resize(most);
}

System Player::copy(const tesk::RigidBodySystem& robot) const {
  return {robot.clone().release(), pristine_.get_deleter()};
}

tesk::RigidBodySystem& Player::robot_of(std::uint32_t object) {
  const auto found = objects_.find(object);
  return *(found != objects_.end() ? found : objects_.emplace(object, copy(*pristine_)).first)->second;
}

/// The sum may be as it was, or as it is when a robot is made.
void Player::restate_total_mass(const RecordedCall& call) {
  for (int i = 0; i < 2 && !provenance_.knows_total_mass(); ++i) {
    if (word_of(robot_of(call.header.object).getMass()) == call.header.result)
      provenance_.know_total_mass();
    else
      host::make_system(module_);
  }
}

bool Player::perform(tesk::RigidBodySystem& robot, const RecordedCall& call) {
  bool returned = true;
  recording::set_denormal_flags(call.header.flags);
  try {
    call.operation.perform(robot, recording_.size(), call.arguments, reinterpret_cast<char*>(result_.data()));
  } catch (const std::exception&) {
    returned = false;
  }
  recording::set_denormal_flags(0);
  return returned;
}

bool Player::play(const RecordedCall& call, bool compares) {
  using Step = Provenance::Step;
  if (!call.has_returned()) not_returned_ = in_words(call.position()) + ": " + call_in_words(recording_, call);
  const Provenance::Followed followed = provenance_.follow(call);
  Played& played = played_[call.header.operation];
  if (call.has(recording::restated)) {
    if (followed.step == Step::perform) perform(robot_of(call.header.object), call);
    if (call.is<mass_of_robot>()) restate_total_mass(call);
    return false;
  }
  switch (followed.step) {
    case Step::none:
      return false;
    case Step::refuse:
      ++not_performed_;
      return false;
    case Step::make:
      objects_.insert_or_assign(call.header.object, host::make_system(module_));
      break;
    case Step::copy:
      objects_.insert_or_assign(call.header.object, copy(robot_of(cloned_object(call))));
      break;
    case Step::end:
      objects_.erase(call.header.object);
      break;
    case Step::perform:
      break;
  }
  ++played.calls;
  if (followed.step != Step::perform) return false;
  tesk::RigidBodySystem& robot = robot_of(call.header.object);
  const bool threw = !perform(robot, call);
  if (!call.has(recording::has_result) && !call.has(recording::has_thrown) && !threw) return false;
  if (!followed.is_known) {
    ++not_comparable_;
    return false;
  }
  if (!compares) return false;
  ++played.compared;
  read_shown(robot, call.operation.stages, recording_.size(), result_.data());
  const std::optional<std::string> results = compare(call, threw);
  if (!results) return false;
  ++played.different;
  set_first_difference(call, *results);
  return true;
}

void Player::fail(const RecordedCall& call, const std::string& words) {
  set_first_difference(call, "the module fails now: " + words);
}

void Player::set_first_difference(const RecordedCall& call, const std::string& results) {
  if (first_difference_) return;
  const char* certain = call.is_certain ? "" : "; not covered by a checksum, so it may be damaged";
  const auto found = objects_.find(call.header.object);
  first_difference_ = {call.offset, in_words(call.position()) + certain, call_in_words(recording_, call),
                       found == objects_.end() ? "" : inputs_in_words(*found->second), results};
}

std::optional<std::string> Player::compare(const RecordedCall& call, bool threw) const {
  const recording::OperationEntry& e = call.operation;
  if (threw != call.has(recording::has_thrown)) {
    return threw ? "it throws now, and did not when it was recorded"
                 : "it threw when it was recorded, and does not now";
  }
  if (threw) return {};
  const char* here = reinterpret_cast<const char*>(result_.data());
  const std::uint64_t word = recording::result_word(e.result.type, here, e.result.bytes(recording_.size()));
  if (word == call.header.result) return {};
  if (e.result.type != NumberType::real) {
    return fmt::format("recorded {:#x}, now {:#x}", call.header.result, word);
  }
  const std::size_t count = e.result.numbers(recording_.size());
  std::vector<float> recorded(count);
  if (call.result != nullptr) {
    std::memcpy(recorded.data(), call.result, count * sizeof(float));
  } else if (count * sizeof(float) <= sizeof(word)) {
    std::memcpy(recorded.data(), &call.header.result, count * sizeof(float));
  } else {
    return fmt::format("recorded only a hash, {:#018x}; now it is {:#018x}, of {}", call.header.result, word,
                       fmt::join(result_.begin(), result_.begin() + static_cast<std::ptrdiff_t>(count), ", "));
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (word_of(recorded[i]) == word_of(result_[i])) continue;
    return fmt::format("{}: recorded {}, now {}", number_in_words(recording_, call, i), with_bits(recorded[i]),
                       with_bits(result_[i]));
  }
  return "the recorded hash is not that of the recorded numbers";
}

std::string Player::text(bool shows_all_operations) const {
  std::string text = in_words(recording_);
  if (!not_returned_.empty()) text += fmt::format("did not return: {}\n", not_returned_);
  if (gaps() > 0) text += fmt::format("calls are missing in {}\n", counted(gaps(), "place"));
  if (not_comparable_ > 0) {
    text += fmt::format("{} not compared: their inputs were not recorded\n", counted(not_comparable_, "result"));
  }
  if (not_performed_ > 0) {
    text += fmt::format("{} not replayed: invalid arguments, or did not return\n", counted(not_performed_, "call"));
  }
  if (first_difference_) {
    const Difference& d = *first_difference_;
    text += fmt::format("\nFirst difference: {}\n{}\n{}\n\n{}\n", d.where, d.call, d.results, d.inputs);
  }
  std::string rows;
  Played all;
  for (std::size_t i = 0; i < played_.size(); ++i) {
    const auto& [calls, compared, different] = played_[i];
    all = {all.calls + calls, all.compared + compared, all.different + different};
    if (calls == 0 || (different == 0 && !shows_all_operations)) continue;
    rows += fmt::format("{:<34}{:>12}{:>12}{:>12}\n", recording::all_operations[i].name, calls, compared, different);
  }
  if (!rows.empty()) {
    text += fmt::format("{:<34}{:>12}{:>12}{:>12}\n", "operation", "calls", "compared", "different") + rows;
  }
  const std::size_t different = std::max<std::size_t>(all.different, first_difference_ ? 1 : 0);
  return text + fmt::format("{}, {} compared: {}\n", counted(all.calls, "call"), counted(all.compared, "result"),
                            different > 0      ? fmt::format("{} different", different)
                            : all.compared > 0 ? "no difference"
                                               : "no result could be compared");
}

nlohmann::json Player::json() const {
  nlohmann::json operations = nlohmann::json::object();
  for (std::size_t i = 0; i < played_.size(); ++i) {
    const auto& [calls, compared, different] = played_[i];
    if (calls == 0) continue;
    operations[recording::all_operations[i].name] = {
        {"calls", calls}, {"compared", compared}, {"different", different}};
  }
  nlohmann::json json = in_json(recording_);
  json.update({{"gaps", gaps()},
               {"not_performed", not_performed_},
               {"not_comparable", not_comparable_},
               {"operations", operations}});
  if (first_difference_) {
    const Difference& d = *first_difference_;
    json["first_difference"] = {{"where", d.where}, {"call", d.call}, {"inputs", d.inputs}, {"results", d.results}};
  }
  return json;
}

}  // namespace korvel::host
