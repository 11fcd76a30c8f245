#include "recorder/replay/provenance.h"

#include <algorithm>
#include <utility>

namespace korvel::host {

namespace {

constexpr Resources shared{Resource::inertias, Resource::total_mass};
constexpr Resources computed{Resource::joint_pass, Resource::in_root,     Resource::com_in_root, Resource::poses,
                             Resource::com,        Resource::mass_matrix, Resource::torques};

/// Returns what of `reads` goes into one thing that an operation writes: all of it, unless the thing is known to be
/// apart from the rest. Poses, say, are right whatever the masses are.
Resources goes_into(Resource written, Resources reads) {
  switch (written) {
    case Resource::root_transform:
      return reads & Resources{Resource::root_pose};
    case Resource::joint_pass:
    case Resource::in_root:
      return reads & Resources{Resource::positions};
    case Resource::poses:
      return reads & Resources{Resource::root_pose, Resource::positions, Resource::in_root};
    default:
      return reads;
  }
}

std::uint64_t second_argument(const RecordedCall& call) {
  return recording::take<std::uint64_t>(call.arguments + sizeof(std::uint64_t), 0);
}

}  // namespace

std::uint32_t cloned_object(const RecordedCall& call) {
  return static_cast<std::uint32_t>(recording::take<std::uint64_t>(call.arguments, 0));
}

Provenance::Provenance(const RecordingFile& recording, bool keeps_sources)
    : recording_(recording),
      keeps_sources_(keeps_sources),
      module_(new_values(true)),
      inertias_(static_cast<std::size_t>(recording.size().bodies)) {}

// ---- Objects --------------------------------------------------------------------------------------------------------

Provenance::Object& Provenance::hold(std::uint32_t number, Object object) {
  const std::size_t most = recording_.blocks() + more_objects;
  if (objects_.size() >= most && objects_.count(number) == 0) {
    throw Error("{}: object {}: expected at most {} objects at a time in {} blocks", recording_.path().string(), number,
                most, recording_.blocks());
  }
  return objects_.insert_or_assign(number, std::move(object)).first->second;
}

Provenance::Object& Provenance::object_of(const RecordedCall& call) {
  const auto found = objects_.find(call.header.object);
  if (found != objects_.end()) return found->second;
  Object& object = hold(call.header.object, {new_values(false)});
  lose(object, call.header.call);
  return object;
}

void Provenance::lose(Object& object, std::uint32_t next_call) {
  ++gaps_;
  object.values = new_values(false);
  // The number goes on from 0 after the largest one. In a file that is not right it may also go back.
  object.lost += static_cast<std::uint32_t>(std::max(static_cast<std::int32_t>(next_call - object.next_call), 0));
  object.next_call = next_call;
}

Provenance::Step Provenance::make(const RecordedCall& call) {
  const bool creates = call.is<&::create>();
  if (call.has(recording::has_thrown) || !call.has_returned()) {
    // It may have summed the masses before.
    if (creates) {
      ++shared_changes_;
      know(Resource::total_mass, false);
    }
    return Step::refuse;
  }
  if (creates) {
    hold(call.header.object, {new_values(true), call.header.call + 1});
    ++shared_changes_;
    know(Resource::total_mass, knows_all(Resource::inertias));
    if (keeps_sources_) mass_changes_ = std::make_shared<std::vector<Source>>(1, source(nullptr, call));
    return Step::make;
  }
  const auto original = objects_.find(cloned_object(call));
  // If this does not hold, calls of the original are missing.
  if (original == objects_.end() || original->second.next_call != second_argument(call)) return Step::none;
  Object copy{original->second.values, call.header.call + 1};
  copy.is_overlapped = original->second.is_overlapped || call.has(recording::overlapped);
  hold(call.header.object, std::move(copy));
  return Step::copy;
}

// ---- Values ---------------------------------------------------------------------------------------------------------

Provenance::Values Provenance::new_values(bool known) const {
  Values values;
  for (std::size_t kind = 0; kind < resource_kinds; ++kind) {
    const IndexKind each = recording::index_of(static_cast<Resource>(kind));
    values[kind].assign(each == IndexKind::none ? 1 : count_of(each, recording_.size()), Value{known});
  }
  return values;
}

template <typename Each>
void Provenance::for_each_value(Object& object, Resources kinds, const RecordedCall& call, const Each& each) {
  kinds.for_each([&](Resource kind) {
    std::vector<Value>& values = (shared.has(kind) ? module_ : object.values)[static_cast<std::size_t>(kind)];
    if (call.operation.index == IndexKind::none || values.size() <= 1) {
      std::for_each(values.begin(), values.end(), each);
    } else if (call.index() < values.size()) {
      each(values[call.index()]);
    }
  });
}

void Provenance::know(Resource of_module, bool known) {
  for (Value& value : module_[static_cast<std::size_t>(of_module)]) value.is_known = known;
}

bool Provenance::knows_all(Resource of_module) const {
  const std::vector<Value>& values = module_[static_cast<std::size_t>(of_module)];
  return std::all_of(values.begin(), values.end(), [](const Value& value) { return value.is_known; });
}

/// Calls of any object may change what all share, and may be lost.
void Provenance::follow_shared(const RecordedCall& call) {
  if (call.header.shared_changes == shared_changes_) return;
  shared_changes_ = call.header.shared_changes;
  know(Resource::inertias, false);
  know(Resource::total_mass, false);
}

bool Provenance::knows(Object& object, Resources kinds, const RecordedCall& call) {
  bool all = true;
  for_each_value(object, kinds, call, [&](const Value& value) { all = all && value.is_known; });
  return all;
}

void Provenance::write(Object& object, const RecordedCall& call, bool is_performed) {
  Resources writes = call.operation.writes;
  // Later calls may have changed what a restated setter computed.
  if (call.has(recording::restated)) writes = writes & (recording::inputs_of_object | shared);
  const Source from = is_performed && keeps_sources_ ? source(&object, call) : nullptr;
  // A value is known if what it is made of was, before any of that changes.
  Resources known;
  writes.for_each([&](Resource kind) {
    if (is_performed && knows(object, goes_into(kind, call.operation.reads), call)) known = known | Resources{kind};
  });
  writes.for_each([&](Resource kind) {
    if (shared.has(kind) && !is_performed) return;
    for_each_value(object, {kind}, call, [&](Value& value) {
      // The sum of masses goes on from what it was.
      if (kind != Resource::total_mass) value.is_known = known.has(kind);
      value.is_written = true;
      value.source = from;
    });
  });
  if (!is_performed) return;
  last_ = from;
  if (keeps_sources_ && call.is<&Interface::setBodyInertia>()) mass_changes_->push_back(from);
}

Source Provenance::source(Object* reader, const RecordedCall& call) {
  recording::RecordHeader header = call.header;
  header.flags &= static_cast<std::uint16_t>(~recording::restated);
  std::string values(call.arguments, header.size - sizeof(header));
  std::set<Source> sources;
  if (reader != nullptr) {
    for_each_value(*reader, call.operation.reads, call, [&](const Value& value) {
      if (value.source) sources.insert(value.source);
    });
  }
  const bool reads_sum = call.operation.reads.has(Resource::total_mass);
  return std::make_shared<RecordedSource>(RecordedSource{next_order_++, header, std::move(values), std::move(sources),
                                                         reads_sum ? mass_changes_ : nullptr, mass_changes_->size()});
}

// ---- Calls ----------------------------------------------------------------------------------------------------------

bool Provenance::is_allowed(const RecordedCall& call) const {
  return !call.has(recording::incomplete_inputs) && call.has_valid_index(recording_.size());
}

Provenance::Step Provenance::restate(const RecordedCall& call) {
  // Restated is what is true before a call: that of an object that has been followed all along is known.
  Object& object = object_of(call);
  if (call.is<mass_of_robot>()) return Step::none;
  if (call.is<&::create>()) {
    object.takes_restated = call.header.call != object.next_call || !knows(object, {Resource::root_pose}, call);
    takes_inertias_ = !knows_all(Resource::inertias);
    // All that were ever changed are restated.
    if (takes_inertias_) know(Resource::inertias, true);
    if (!object.takes_restated) return Step::none;
    if (call.header.call != object.next_call) lose(object, call.header.call);
    object.is_overlapped = call.has(recording::overlapped);
    for_each_value(object, recording::inputs_of_object, call, [](Value& value) { value.is_known = true; });
    return Step::none;
  }
  const bool sets_inertia = call.is<&Interface::setBodyInertia>();
  if (!(sets_inertia ? takes_inertias_ : object.takes_restated) || !is_allowed(call)) return Step::none;
  // Once more would round the sum of masses once more.
  if (sets_inertia && !keep_inertia(call)) return Step::none;
  write(object, call, true);
  return Step::perform;
}

bool Provenance::keep_inertia(const RecordedCall& call) {
  std::string arguments(call.arguments, call.operation.argument_bytes(recording_.size()));
  std::string& kept = inertias_[call.index()];
  if (kept == arguments) return false;
  kept = std::move(arguments);
  return true;
}

Provenance::Followed Provenance::follow(const RecordedCall& call) {
  follow_shared(call);
  if (call.has(recording::restated)) return {restate(call)};
  const bool clones = call.is<&Interface::clone>();
  if (call.is<&::create>() || clones) {
    const Step step = make(call);
    if (step != Step::none) return {step};
  }
  Object& object = object_of(call);
  object.takes_restated = false;
  // The first block after lost calls may have been lost, too.
  if (call.header.call != object.next_call) lose(object, call.header.call);
  object.next_call = call.header.call + 1;
  object.is_overlapped = object.is_overlapped || call.has(recording::overlapped);
  Followed followed{Step::none, std::exchange(object.lost, 0)};
  if (clones) return followed;
  if (call.is<&::destroy>()) {
    objects_.erase(call.header.object);
    followed.step = Step::end;
    return followed;
  }
  const bool is_performed = is_allowed(call) && call.has_returned() && !call.has(recording::out_of_memory);
  followed.step = is_performed ? Step::perform : Step::refuse;
  followed.is_known = !object.is_overlapped && knows(object, call.operation.reads, call);
  for_each_value(object, call.operation.reads & computed, call, [&](const Value& value) {
    followed.reads_early = followed.reads_early || (value.is_known && !value.is_written && !object.is_overlapped);
  });
  if (call.is<&Interface::setBodyInertia>()) {
    ++shared_changes_;
    if (is_performed) keep_inertia(call);
  }
  write(object, call, is_performed);
  return followed;
}

std::vector<Provenance::Known> Provenance::known_objects() const {
  std::vector<Known> all;
  for (const auto& entry : objects_) {
    const Object& object = entry.second;
    bool is_known = !object.is_overlapped;
    const auto earlier = [](const Source& a, const Source& b) { return a->order < b->order; };
    std::set<Source, decltype(earlier)> setters(earlier);
    (recording::inputs_of_object | Resources{Resource::inertias}).for_each([&](Resource kind) {
      for (const Value& value : (shared.has(kind) ? module_ : object.values)[static_cast<std::size_t>(kind)]) {
        is_known = is_known && value.is_known;
        if (value.source) setters.insert(value.source);
      }
    });
    if (is_known) all.push_back({entry.first, object.next_call, {setters.begin(), setters.end()}});
  }
  return all;
}

void Provenance::perform(const RecordedCall& call) { write(object_of(call), call, true); }

}  // namespace korvel::host
