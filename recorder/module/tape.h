#pragma once

#include <array>
#include <atomic>
#include <vector>

#include "recorder/format/denormals.h"
#include "recorder/format/hash.h"
#include "recorder/module/recorder.h"
#include "recorder/module/ticks.h"

namespace korvel::record {

/// Records the calls of one object. The object belongs to one thread at a time. A call that overlaps another one breaks
/// this rule: it is counted and not recorded, and all later records of the object have a flag.
class Tape {
 public:
  explicit Tape(const RobotSize& size);
  /// Records a clone with its inputs.
  Tape(const Tape& other);
  Tape& operator=(const Tape&) = delete;
  ~Tape();

  const RobotSize& size() const noexcept { return size_; }
  std::uint32_t number() const noexcept { return number_; }

  /// The object that is recorded, once it is there and as long as it is.
  void follow(const tesk::RigidBodySystem& real) noexcept { real_ = &real; }

  /// Returns whether the call is recorded; if so, it has to leave.
  bool enter() noexcept {
    RecordingWriter* writer = recorder_.writer();
    if (writer == nullptr) return false;
    if (busy_.exchange(true, std::memory_order_acquire)) {
      writer->count_overlapped();
      is_overlapped_.store(true);
      return false;
    }
    if (writer_ == nullptr) begin(*writer);
    return true;
  }
  void leave() noexcept { busy_.store(false, std::memory_order_release); }

  /// A record with its header, the arguments to be written; null if there is no space.
  recording::RecordHeader* begin(Operation operation, std::size_t argument_bytes, std::size_t result_bytes) noexcept {
    ++call_;
    const std::size_t bytes = sizeof(recording::RecordHeader) + argument_bytes + result_bytes;
    if ((block_ == nullptr || used_ + bytes > recording::records_per_block) && !next_block(bytes)) return nullptr;
    return write_header(operation, bytes, ticks());
  }
  /// The arguments are there.
  void begun(const recording::RecordHeader& record) noexcept {
    used_ += record.size;
    __atomic_store_n(&block_->header->begun, used_, __ATOMIC_RELEASE);
  }
  /// All of it is.
  void completed(recording::RecordHeader& record) noexcept {
    const std::uint64_t took = ticks() - record.ticks;
    record.took = took < recording::longest ? static_cast<std::uint32_t>(took) : recording::longest;
    if (is_overlapped_.load()) record.flags |= recording::overlapped;
    __atomic_store_n(&block_->header->complete, used_, __ATOMIC_RELEASE);
    // The thread that prepared the block left its lines in another core's cache. Prefetching beyond its end does no
    // harm.
    constexpr int to_write = 1;
    __builtin_prefetch(block_->records() + used_ + 192, to_write);
    __builtin_prefetch(block_->records() + used_ + 256, to_write);
  }

  /// Call this after the record of a clone, because a reader may not have the original's calls.
  void restate_clone() noexcept;
  std::uint32_t next_call() const noexcept { return call_ + 1; }

  /// Results are there in full for the first call of each kind and every so often.
  bool is_due_in_full(Operation operation) noexcept {
    constexpr std::uint16_t every = 1024;
    std::uint16_t& calls = calls_[static_cast<std::size_t>(operation)];
    const bool due = calls == 0;
    calls = static_cast<std::uint16_t>((calls + 1) % every);
    return due;
  }
  /// Results that a computation leaves in the object are recorded less often than those that an operation returns.
  bool is_due(Operation operation) const noexcept {
    constexpr std::uint16_t every = 64;
    return calls_[static_cast<std::size_t>(operation)] % every == 1;
  }

  /// The arguments of what may be a setter, to restate them.
  template <auto method>
  void keep(const char* arguments, std::size_t bytes) noexcept;
  /// Space for the results of a computation.
  float* scratch() noexcept { return scratch_.data(); }

 private:
  bool next_block(std::size_t bytes) noexcept;
  std::size_t bytes_to_restate() const noexcept;
  /// The inputs as they are before the call of that number.
  void restate_all(std::uint32_t before_call) noexcept;
  void begin(RecordingWriter& writer) noexcept;
  recording::RecordHeader* write_header(Operation operation, std::size_t bytes, std::uint64_t time) noexcept;
  void restate(Operation operation, const char* arguments, std::size_t bytes, std::uint64_t time) noexcept;

  Recorder& recorder_;
  RecordingWriter* writer_ = nullptr;
  const tesk::RigidBodySystem* real_ = nullptr;
  RobotSize size_;
  std::uint32_t number_;
  std::uint32_t call_ = 0;
  std::atomic<bool> busy_{false};
  std::atomic<bool> is_overlapped_;  ///< a call that is not recorded may have set an input, now or at any time before
  std::uint32_t stream_ = 0;
  Block* block_ = nullptr;
  std::size_t used_ = 0;
  std::array<std::uint16_t, operation_count> calls_{};
  Inputs inputs_;
  std::vector<float> scratch_;
};

inline recording::RecordHeader* Tape::write_header(Operation operation, std::size_t bytes,
                                                   std::uint64_t time) noexcept {
  auto* record = reinterpret_cast<recording::RecordHeader*>(block_->records() + used_);
  *record = {static_cast<std::uint32_t>(bytes),
             static_cast<std::uint16_t>(operation),
             recording::denormal_flags(),
             number_,
             call_,
             this_thread(),
             recorder_.shared_changes(),
             recording::not_returned,
             time,
             0};
  if (is_overlapped_.load()) record->flags |= recording::overlapped;
  return record;
}

template <auto method>
void Tape::keep(const char* arguments, std::size_t bytes) noexcept {
  if constexpr (row_of<method>.writes.has(Resource::inertias)) {
    recorder_.inertias().keep<method>(arguments, bytes);
  } else {
    inputs_.keep<method>(arguments, bytes);
  }
}

/// A call of the interface while it lasts. Writes its arguments when it is made and its result when it ends.
class Call {
 public:
  template <auto method, typename... Values>
  Call(Tape& tape, const OperationRow<method>& /*identifies the operation*/, bool has_result,
       const Values&... arguments) noexcept
      : tape_(tape), operation_(operation_of<method>), is_recorded_(tape.enter()) {
    if (!is_recorded_) return;
    const std::size_t bytes = (std::size_t{0} + ... + recording::shape_of<Values>.bytes(tape.size()));
    const bool in_full = has_result && tape.is_due_in_full(operation_);
    const std::size_t result_bytes = in_full ? recording::entry(operation_).result.bytes(tape.size()) : 0;
    record_ = tape.begin(operation_, recording::padded(bytes), recording::padded(result_bytes));
    // The inputs are known also where the call is not recorded.
    std::array<char, 4096> unrecorded;
    if (record_ == nullptr && bytes > unrecorded.size()) return;
    char* const first = record_ == nullptr ? unrecorded.data() : reinterpret_cast<char*>(record_ + 1);
    [[maybe_unused]] char* to = first;
    bool is_whole = true;
    [[maybe_unused]] const auto put = [&](const auto& value, std::size_t capacity) {
      is_whole = recording::put(to, capacity, value) && is_whole;
      to += capacity;
    };
    (put(arguments, recording::shape_of<Values>.bytes(tape.size())), ...);
    // A setter with fewer values than it needs is an error of the caller, and what it sets is not known.
    if (is_whole) tape.keep<method>(first, bytes);
    if (record_ == nullptr) return;
    result_ = first + recording::padded(bytes);
    if (in_full) record_->flags |= recording::result_in_full;
    if (!is_whole) record_->flags |= recording::incomplete_inputs;
    tape.begun(*record_);
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  ~Call() {
    if (!is_recorded_) return;
    if (record_ != nullptr) tape_.completed(*record_);
    tape_.leave();
  }

  template <typename Value>
  void result(const Value& value) noexcept {
    if (record_ == nullptr) return;
    constexpr recording::Shape shape = recording::shape_of<Value>;
    const std::size_t capacity = shape.bytes(tape_.size());
    if ((record_->flags & recording::result_in_full) != 0) recording::put(result_, capacity, value);
    if constexpr (shape.type == recording::NumberType::text) {
      std::array<char, recording::longest_name> text;
      recording::put(text.data(), text.size(), value);
      record_->result = recording::result_word(shape.type, text.data(), text.size());
    } else {
      const std::string_view bytes = bytes_in(value).substr(0, capacity);
      record_->result = recording::result_word(shape.type, bytes.data(), bytes.size());
    }
    record_->flags |= recording::has_result;
  }
  /// Records the result that a computation leaves in the object.
  void shown_by(const tesk::RigidBodySystem& robot) noexcept;
  void thrown(bool for_lack_of_memory) noexcept {
    if (record_ == nullptr) return;
    record_->flags |= recording::has_thrown;
    if (for_lack_of_memory) record_->flags |= recording::out_of_memory;
    record_->flags &= static_cast<std::uint16_t>(~recording::result_in_full);
  }

 private:
  Tape& tape_;
  Operation operation_;
  bool is_recorded_;
  recording::RecordHeader* record_ = nullptr;
  char* result_ = nullptr;
};

}  // namespace korvel::record
