#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "recorder/format/operations.h"

namespace korvel::record {

/// The arguments with which inputs were last set, as they stand in a record. Every block begins with them: what comes
/// before it may be lost.
class Inputs {
 public:
  Inputs(const RobotSize& size, Resources kinds) {
    std::size_t slots = 0;
    kinds.for_each([&](Resource kind) {
      const IndexKind each = recording::index_of(kind);
      const std::size_t count = count_of(each, size);
      slots_of(kind) = {slots, count};
      slots += each == IndexKind::none || each == IndexKind::joint ? 1 : count;
    });
    setters_.assign(slots, never);
    for (const recording::OperationEntry& e : recording::all_operations) {
      if (e.writes.meets(kinds)) slot_bytes_ = std::max(slot_bytes_, e.argument_bytes(size));
    }
    arguments_.resize(slots * slot_bytes_);
  }

  /// Keeps the arguments of a setter.
  template <auto method>
  void keep(const char* arguments, std::size_t bytes) noexcept;

  /// Calls `restate(operation, arguments, bytes)` for every input that was ever set.
  template <typename Restate>
  void for_each(const RobotSize& size, const Restate& restate) const {
    for (std::size_t slot = 0; slot < setters_.size(); ++slot) {
      if (setters_[slot] == never) continue;
      restate(setters_[slot], &arguments_[slot * slot_bytes_], recording::entry(setters_[slot]).argument_bytes(size));
    }
  }

 private:
  static constexpr Operation never{0xffff};
  struct Slots {
    std::size_t first, count;  ///< the joints' values of a kind are in one slot
  };

  /// The operation that sets the values of all joints.
  static constexpr Operation setter_of_joints(Resource kind) {
    return kind == Resource::positions    ? operation_of<&Interface::setJointAnglesPos>
           : kind == Resource::velocities ? operation_of<&Interface::setJointAnglesVel>
                                          : operation_of<&Interface::setJointAnglesAcc>;
  }

  Slots& slots_of(Resource kind) noexcept { return slots_[static_cast<std::size_t>(kind)]; }

  std::array<Slots, resource_kinds> slots_{};
  std::size_t slot_bytes_ = 0;
  std::vector<Operation> setters_;  ///< by slot: which one set it last
  std::vector<char> arguments_;     ///< by slot
};

template <auto method>
void Inputs::keep(const char* arguments, std::size_t bytes) noexcept {
  constexpr const OperationData& row = row_of<method>;
  constexpr Resources inputs = row.writes & recording::restated_inputs;
  if constexpr (!inputs.empty()) {
    const Slots& slots = slots_of(inputs.first());
    std::uint64_t index = 0;
    if constexpr (row.index != IndexKind::none && row.index != IndexKind::root) {
      std::memcpy(&index, arguments, sizeof(index));
      if (index >= slots.count) return;
    }
    if constexpr (row.index == IndexKind::joint) {
      setters_[slots.first] = setter_of_joints(inputs.first());
      char* values = &arguments_[slots.first * slot_bytes_];
      std::memcpy(values + index * sizeof(float), arguments + sizeof(index), sizeof(float));
    } else {
      setters_[slots.first + index] = operation_of<method>;
      std::memcpy(&arguments_[(slots.first + index) * slot_bytes_], arguments, bytes);
    }
  }
}

}  // namespace korvel::record
