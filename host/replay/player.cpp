#include "host/replay/player.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "host/replay/words.h"
#include "host/robot/robot.h"
#include "host/robot/trial.h"
#include "recording/denormals.h"
#include "recording/hash.h"

namespace korvel::host {

namespace {

using recording::Index;
using recording::NumberType;
using recording::Operation;
using recording::Resource;

/// As their hashes would be.
bool same(float a, float b) { return recording::result_word(&a, 1) == recording::result_word(&b, 1); }

std::string with_bits(float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof(bits));
  return fmt::format("{} ({:#010x})", value, bits);
}

}  // namespace

Player::Player(const RecordingFile& recording, const Module& module, PlayObserver* observer)
    : recording_(recording),
      module_(module),
      observer_(observer),
      pristine_(robot_of(module_)),
      places_(recording.size()),
      module_known_(places_.of_module(), true),
      inertias_(static_cast<std::size_t>(recording.size().bodies)) {
  if (body_names(*pristine_) != recording.bodies() || joint_names(*pristine_) != recording.joints() ||
      static_cast<int>(pristine_->getNbVolatileFrames()) != recording.size().volatile_frames) {
    throw Error(fmt::format("{}: recorded with another robot than that of module '{}'", recording.path().string(),
                            module_.path().string()));
  }
  std::size_t most = 0;
  for (const recording::OperationEntry& e : recording::all_operations()) {
    most = std::max(most, recording::padded(e.result_bytes(recording.size())) / sizeof(float));
  }
  result_.resize(most);
}

Player::Object Player::copy(const System& robot, std::vector<bool> known) const {
  return {System(robot->clone().release(), robot.get_deleter()), std::move(known), 1, false};
}

Player::Object& Player::object_of(const RecordedCall& call) {
  const auto found = objects_.find(call.header.object);
  if (found != objects_.end()) return found->second;
  Object& object =
      objects_.emplace(call.header.object, copy(pristine_, std::vector<bool>(places_.of_object()))).first->second;
  object.next_call = call.header.call;
  lose(call.header.object, object);
  return object;
}

void Player::lose(std::uint32_t number, Object& object) {
  ++gaps_;
  std::fill(object.known.begin(), object.known.end(), false);
  if (observer_ != nullptr) observer_->lost(number);
}

void Player::know(Resource of_module, bool known) {
  places_.for_each_of(of_module, [&](std::size_t place) { module_known_[place - places_.of_object()] = known; });
}

/// What objects share any of them may change, and calls of any may be lost.
void Player::follow_shared(const RecordedCall& call) {
  if (call.header.shared_changes == shared_changes_) return;
  shared_changes_ = call.header.shared_changes;
  know(Resource::inertias, false);
  know(Resource::total_mass, false);
}

bool Player::knows(const Object& object, recording::Resources kinds, const RecordedCall& call) const {
  bool all = true;
  places_.for_each(kinds, call, [&](std::size_t place) {
    all = all && (places_.is_of_object(place) ? object.known[place] : module_known_[place - places_.of_object()]);
  });
  return all;
}

bool Player::knows_all_inertias() const {
  bool all = true;
  places_.for_each_of(Resource::inertias,
                      [&](std::size_t place) { all = all && module_known_[place - places_.of_object()]; });
  return all;
}

void Player::know_inertia(const RecordedCall& call) {
  places_.for_each(bit(Resource::inertias), call,
                   [&](std::size_t place) { module_known_[place - places_.of_object()] = true; });
}

void Player::note(Object& object, const RecordedCall& call, bool is_performed) {
  const auto for_each_written = [&](const auto& each) {
    for (unsigned kind = 0; kind < recording::resource_kinds; ++kind) {
      if ((call.operation.writes & (1U << kind)) != 0) each(static_cast<Resource>(kind));
    }
  };
  // By what it was made of, before any of it changes.
  recording::Resources known = 0;
  for_each_written([&](Resource written) {
    const recording::Resources read = call.operation.reads & goes_into(written);
    if (is_performed && knows(object, read, call)) known |= bit(written);
  });
  for_each_written([&](Resource written) {
    places_.for_each(bit(written), call, [&](std::size_t place) {
      // The sum of masses goes on from what it was.
      if (places_.is_of_object(place)) object.known[place] = (known & bit(written)) != 0;
    });
  });
}

void Player::restate(const RecordedCall& call) {
  // Restated is what is true before a call: that of an object that has been followed all along is known.
  follow_shared(call);
  if (call.header.operation == static_cast<std::uint16_t>(Operation::create)) {
    Object& object = object_of(call);
    object.takes_restated =
        call.header.call != object.next_call || !knows(object, recording::bit(Resource::root_pose), call);
    takes_inertias_ = !knows_all_inertias();
    // All that were ever changed are restated.
    if (takes_inertias_) know(Resource::inertias, true);
    if (!object.takes_restated) return;
    if (call.header.call != object.next_call) lose(call.header.object, object);
    object.next_call = call.header.call;
    // A call that is not there may have set any of them.
    object.takes_restated = !call.has(recording::overlapped);
    if (!object.takes_restated) return;
    places_.for_each(recording::inputs_of_object, call, [&](std::size_t place) { object.known[place] = true; });
    return;
  }
  if (call.header.operation == static_cast<std::uint16_t>(Operation::getMass)) return restate_total_mass(call);
  Object& object = object_of(call);
  const bool is_inertia = call.header.operation == static_cast<std::uint16_t>(Operation::setBodyInertia);
  if (!(is_inertia ? takes_inertias_ : object.takes_restated) || !is_allowed(call)) return;
  if (is_inertia) {
    // Once more would round the sum of masses once more.
    const std::string arguments(call.arguments, call.operation.argument_bytes(recording_.size()));
    std::string& last = inertias_[call.index()];
    if (last == arguments) return;
    last = arguments;
  }
  perform(object, call);
}

/// The sum may be as it was, or as it is when a robot is made.
void Player::restate_total_mass(const RecordedCall& call) {
  for (int i = 0; i < 2 && !module_known_.back(); ++i) {
    const float mass = object_of(call).robot->getMass();
    if (recording::result_word(&mass, 1) == call.header.result)
      know(Resource::total_mass, true);
    else
      robot_of(module_);
  }
}

bool Player::is_allowed(const RecordedCall& call) const {
  const Index kind = call.operation.index;
  const bool beyond = kind == Index::body_or_none || kind == Index::none || kind == Index::root;
  if (call.has(recording::incomplete_inputs)) return false;
  if (call.header.operation == static_cast<std::uint16_t>(Operation::getPose)) {
    return call.index() < recording::count_of(kind, recording_.size()) || call.index() == ~std::uint64_t{0};
  }
  return beyond || call.index() < recording::count_of(kind, recording_.size());
}

bool Player::perform(Object& object, const RecordedCall& call) {
  if (observer_ != nullptr) observer_->performed(call);
  bool returned = true;
  recording::set_denormal_flags(call.header.flags);
  try {
    call.operation.perform(*object.robot, recording_.size(), call.arguments, reinterpret_cast<char*>(result_.data()));
  } catch (const std::exception&) {
    returned = false;
  }
  recording::set_denormal_flags(0);
  return returned;
}

void Player::read_shown(const Object& object, const RecordedCall& call) {
  float* to = result_.data();
  for (const Result result : call.operation.shown) {
    const ResultEntry& shown = entry(result);
    shown.read(*object.robot, to);
    to += std::ptrdiff_t{shown.pieces(recording_.size())} * shown.length(recording_.size());
  }
}

bool Player::make(const RecordedCall& call) {
  const auto operation = static_cast<Operation>(call.header.operation);
  const bool makes = operation == Operation::create || operation == Operation::clone;
  if (makes && (call.has(recording::has_thrown) || !call.has_returned())) {
    // It may have summed the masses before.
    if (operation == Operation::create) {
      ++shared_changes_;
      know(Resource::total_mass, false);
    }
    ++not_performed_;
    return true;
  }
  if (operation == Operation::create) {
    objects_.erase(call.header.object);
    objects_.emplace(call.header.object, Object{robot_of(module_), std::vector<bool>(places_.of_object(), true),
                                                call.header.call + 1, false});
    ++shared_changes_;
    know(Resource::total_mass, knows_all_inertias());
    if (observer_ != nullptr) observer_->made(call);
    ++played_[call.header.operation].calls;
    return true;
  }
  if (operation == Operation::clone) {
    const auto source =
        objects_.find(static_cast<std::uint32_t>(recording::Form<unsigned long>::take(call.arguments, 0)));
    const unsigned long next = recording::Form<unsigned long>::take(call.arguments + sizeof(std::uint64_t), 0);
    // Otherwise calls of the one it is a copy of are missing.
    if (source != objects_.end() && source->second.next_call == next) {
      Object made = copy(source->second.robot, source->second.known);
      made.next_call = call.header.call + 1;
      if (observer_ != nullptr) observer_->cloned(call, source->first);
      // The source itself, in a file that is not right.
      objects_.erase(call.header.object);
      objects_.emplace(call.header.object, std::move(made));
      ++played_[call.header.operation].calls;
      return true;
    }
  }
  return false;
}

std::optional<Difference> Player::play(const RecordedCall& call, bool compares) {
  if (call.has(recording::restated)) {
    restate(call);
    return {};
  }
  follow_shared(call);
  Played& played = played_[call.header.operation];
  const auto operation = static_cast<Operation>(call.header.operation);
  if (make(call)) return {};
  Object& object = object_of(call);
  object.takes_restated = false;
  // Where the first block after lost calls has been lost, too.
  if (call.header.call != object.next_call) lose(call.header.object, object);
  object.next_call = call.header.call + 1;
  if (operation == Operation::clone) return {};
  if (operation == Operation::destroy) {
    objects_.erase(call.header.object);
    if (observer_ != nullptr) observer_->ended(call.header.object);
    ++played.calls;
    return {};
  }
  if (call.has(recording::overlapped)) lose(call.header.object, object);
  if (!is_allowed(call) || !call.has_returned() || call.has(recording::out_of_memory) ||
      call.has(recording::overlapped)) {
    if (operation == Operation::setBodyInertia) ++shared_changes_;
    ++not_performed_;
    note(object, call, false);
    return {};
  }
  ++played.calls;
  const bool known = knows(object, call.operation.reads, call);
  if (operation == Operation::setBodyInertia) {
    ++shared_changes_;
    know_inertia(call);
    inertias_[call.index()].assign(call.arguments, call.operation.argument_bytes(recording_.size()));
  }
  const bool threw = !perform(object, call);
  note(object, call, true);
  if (!call.has(recording::has_result) && !call.has(recording::has_thrown) && !threw) return {};
  if (!known) {
    ++not_comparable_;
    return {};
  }
  if (!compares) return {};
  ++played.compared;
  read_shown(object, call);
  std::optional<Difference> difference = compare(call, threw);
  if (difference) ++played.different;
  return difference;
}

Difference Player::difference(const RecordedCall& call, const std::string& results) const {
  const char* certain = call.is_certain ? "" : "; behind the last checksum, so that it may never have been so";
  const auto found = objects_.find(call.header.object);
  return {in_words(call.place()) + certain, call_in_words(recording_, call),
          found == objects_.end() ? "" : inputs_in_words(*found->second.robot), results};
}

std::optional<Difference> Player::compare(const RecordedCall& call, bool threw) const {
  const recording::OperationEntry& e = call.operation;
  if (threw != call.has(recording::has_thrown)) {
    return difference(call, threw ? "it threw here, and did not when it was recorded"
                                  : "it threw when it was recorded, and not here");
  }
  if (threw) return {};
  const char* here = reinterpret_cast<const char*>(result_.data());
  const std::uint64_t word = recording::result_word(e, recording_.size(), here);
  if (word == call.header.result) return {};
  if (e.result_type() != NumberType::real) {
    return difference(call, fmt::format("recorded {:#x}, here {:#x}", call.header.result, word));
  }
  const std::size_t count = e.result_numbers(recording_.size());
  std::vector<float> recorded(count);
  if (call.result != nullptr) {
    std::memcpy(recorded.data(), call.result, count * sizeof(float));
  } else if (count * sizeof(float) <= sizeof(word)) {
    std::memcpy(recorded.data(), &call.header.result, count * sizeof(float));
  } else {
    return difference(
        call, fmt::format("recorded is a hash alone, {:#018x}; here it is {:#018x}, of {}", call.header.result, word,
                          fmt::join(result_.begin(), result_.begin() + static_cast<std::ptrdiff_t>(count), ", ")));
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (same(recorded[i], result_[i])) continue;
    return difference(call, fmt::format("{}: recorded {}, here {}", number_in_words(recording_, call, i),
                                        with_bits(recorded[i]), with_bits(result_[i])));
  }
  return difference(call, "the hash that was recorded is not that of the numbers beside it");
}

}  // namespace korvel::host
