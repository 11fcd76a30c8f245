#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

#include "recorder/module/inputs.h"
#include "recorder/module/real_module.h"
#include "recorder/module/recording_writer.h"

namespace korvel::record {

/// Holds what all objects share: the module behind them and the recording. It exists as long as this library is loaded.
class Recorder {
 public:
  Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;
  ~Recorder() = default;

  static Recorder& get();

  /// There is one more object: the module is there as long as any is. Begins to record with the first one, or says on
  /// the standard error why not. Throws what the module throws, and std::runtime_error if there is none.
  void add_object();
  /// Likewise, a clone of one that is there.
  void add_clone() noexcept { objects_.fetch_add(1); }
  void remove_object() noexcept {
    if (objects_.fetch_sub(1) == 1 && has_ended_) release();
  }
  /// The process ends, or this library is unloaded: calls are handed on and not recorded any more.
  void end() noexcept;

  /// Returns an object of the module, never null. Throws what the module throws, and std::runtime_error.
  std::unique_ptr<tesk::RigidBodySystem> create() const { return module_->create(); }
  const RobotSize& size() const noexcept { return *size_; }

  /// Returns null if nothing is recorded.
  RecordingWriter* writer() const noexcept { return recording_.load(std::memory_order_acquire); }
  std::uint32_t next_number() noexcept { return numbers_.fetch_add(1, std::memory_order_relaxed) + 1; }
  std::uint32_t next_stream() noexcept { return streams_.fetch_add(1, std::memory_order_relaxed) + 1; }

  /// The last arguments of setBodyInertia for each body. Written by that operation, which overlaps no other call.
  Inputs& inertias() noexcept { return *inertias_; }
  std::uint16_t shared_changes() const noexcept { return shared_changes_.load(std::memory_order_relaxed); }
  void count_shared_change() noexcept { shared_changes_.fetch_add(1, std::memory_order_relaxed); }

 private:
  void begin(tesk::RigidBodySystem& robot);
  /// Unless there are objects.
  void release() noexcept;

  std::mutex mutex_;  ///< whoever holds it makes the module, the recording, or an end to both
  std::unique_ptr<RealModule> module_;
  std::optional<RobotSize> size_;
  std::unique_ptr<RecordingWriter> writer_;
  std::atomic<RecordingWriter*> recording_{nullptr};
  std::atomic<bool> has_ended_{false};
  bool has_forked_ = false;  ///< since the recording began: the first child has said that it is not recorded
  std::optional<Inputs> inertias_;
  std::atomic<std::uint16_t> shared_changes_{0};
  std::atomic<std::uint32_t> numbers_{0}, streams_{0};
  std::atomic<long> objects_{0};
};

/// An object as long as it is there.
class Presence {
 public:
  Presence() { Recorder::get().add_object(); }
  Presence(const Presence& /*of what is cloned*/) { Recorder::get().add_clone(); }
  Presence& operator=(const Presence&) = delete;
  ~Presence() { Recorder::get().remove_object(); }
};

/// Returns the description of a recording as JSON.
std::string description(const RealModule& module, tesk::RigidBodySystem& robot);

}  // namespace korvel::record
