#pragma once

#include <array>
#include <cstddef>

#include "host/replay/recording_file.h"

namespace korvel::host {

/// Numbers what calls leave behind for others: each pose, each joint's angle. Those of an object come first, those of
/// the module after them.
class ResourcePlaces {
 public:
  explicit ResourcePlaces(const RobotSize& size) {
    std::size_t next = 0;
    for (unsigned kind = 0; kind < recording::resource_kinds; ++kind) {
      if (kind == static_cast<unsigned>(recording::Resource::inertias)) of_object_ = next;
      first_[kind] = next;
      next += count(static_cast<recording::Resource>(kind), size);
    }
    first_[recording::resource_kinds] = next;
  }

  std::size_t of_object() const { return of_object_; }
  std::size_t of_module() const { return all() - of_object_; }
  std::size_t all() const { return first_[recording::resource_kinds]; }
  bool is_of_object(std::size_t place) const { return place < of_object_; }

  /// Calls `each` with the places of what a call reads or writes.
  template <typename Each>
  void for_each(recording::Resources kinds, const RecordedCall& call, const Each& each) const {
    for (unsigned kind = 0; kind < recording::resource_kinds; ++kind) {
      if ((kinds & (1U << kind)) == 0) continue;
      const std::size_t number = first_[kind + 1] - first_[kind];
      const bool has_index = call.operation.index != recording::Index::none && number > 1;
      if (!has_index) {
        for (std::size_t i = first_[kind]; i < first_[kind + 1]; ++i) each(i);
      } else if (call.index() < number) {
        each(first_[kind] + call.index());
      }
    }
  }
  template <typename Each>
  void for_each_of(recording::Resource kind, const Each& each) const {
    for (std::size_t i = first_[static_cast<unsigned>(kind)]; i < first_[static_cast<unsigned>(kind) + 1]; ++i) each(i);
  }

 private:
  static std::size_t count(recording::Resource kind, const RobotSize& size) {
    using recording::Resource;
    switch (kind) {
      case Resource::positions:
      case Resource::velocities:
      case Resource::accelerations:
        return static_cast<std::size_t>(size.joints);
      case Resource::wrenches:
      case Resource::poses:
      case Resource::inertias:
        return static_cast<std::size_t>(size.bodies);
      case Resource::volatile_poses:
        return static_cast<std::size_t>(size.volatile_frames);
      default:
        return 1;
    }
  }

  std::array<std::size_t, recording::resource_kinds + 1> first_{};
  std::size_t of_object_ = 0;
};

}  // namespace korvel::host
