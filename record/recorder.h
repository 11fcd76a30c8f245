#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "record/inputs.h"
#include "record/real_module.h"
#include "record/session.h"

namespace korvel::record {

/// What all objects share: the module behind them, and the recording. There is one as long as this library is loaded.
class Recorder {
 public:
  Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;
  ~Recorder();

  static Recorder& get();

  /// An object of the module. Begins to record with the first one, or says on the standard error why not. Throws what
  /// the module throws, and std::runtime_error if there is none.
  std::unique_ptr<tesk::RigidBodySystem> create();

  /// Nothing if nothing is recorded.
  Session* session() const noexcept { return session_; }
  std::uint32_t next_number() noexcept { return numbers_.fetch_add(1, std::memory_order_relaxed) + 1; }
  std::uint32_t next_stream() noexcept { return streams_.fetch_add(1, std::memory_order_relaxed) + 1; }

  /// A block that an object has left partly written goes on with the next object.
  Block* spare() noexcept { return spare_.exchange(nullptr, std::memory_order_acq_rel); }
  void set_spare(Block* block) noexcept {
    if (Block* before = spare_.exchange(block, std::memory_order_acq_rel)) Session::leave(*before);
  }
  void forked() noexcept;

  void object_made() noexcept { objects_.fetch_add(1, std::memory_order_relaxed); }
  void object_ended() noexcept { objects_.fetch_sub(1, std::memory_order_relaxed); }

  /// The last arguments of setBodyInertia for each body. Written by that operation, which overlaps no other call.
  std::vector<Input>& inertias() noexcept { return inertias_; }
  std::uint16_t shared_changes() const noexcept { return shared_changes_; }
  void count_shared_change() noexcept { ++shared_changes_; }

 private:
  void begin(tesk::RigidBodySystem& robot);

  std::unique_ptr<RealModule> module_;
  Session* session_ = nullptr;
  bool has_begun_ = false;
  std::vector<Input> inertias_;
  std::uint16_t shared_changes_ = 0;
  std::atomic<Block*> spare_{nullptr};
  std::atomic<std::uint32_t> numbers_{0}, streams_{0};
  std::atomic<long> objects_{0};
};

/// Of what is recorded, as JSON: the file's own description.
std::string description(const RealModule& module, tesk::RigidBodySystem& robot);

}  // namespace korvel::record
