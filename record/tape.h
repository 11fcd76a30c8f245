#pragma once

#include <array>
#include <atomic>
#include <cstring>
#include <vector>

#include "record/recorder.h"
#include "record/ticks.h"
#include "recording/denormals.h"
#include "recording/hash.h"

namespace korvel::record {

/// Where the calls of one object are recorded. The object belongs to one thread at a time; a call that overlaps another
/// one breaks that, and is counted and not recorded.
class Tape {
 public:
  explicit Tape(const RobotSize& size);
  /// Of a clone: with its inputs.
  Tape(const Tape& other);
  Tape& operator=(const Tape&) = delete;
  ~Tape();

  const RobotSize& size() const noexcept { return size_; }
  std::uint32_t number() const noexcept { return number_; }

  /// The object that is recorded, once it is there and as long as it is.
  void follow(const tesk::RigidBodySystem& real) noexcept { real_ = &real; }

  enum class Entry { not_recorded, recorded, overlapping };
  /// What is not `not_recorded` has to leave.
  Entry enter() noexcept {
    Session* session = recorder_.session();
    if (session == nullptr) return Entry::not_recorded;
    // Of another generation was a thread of the parent, when the process was forked.
    const unsigned generation = session->generation();
    if (busy_.exchange(generation, std::memory_order_acquire) == generation) {
      enter_overlapping(*session);
      return Entry::overlapping;
    }
    if (generation_ != generation) begin_anew(*session);
    return Entry::recorded;
  }
  void leave() noexcept { busy_.store(0, std::memory_order_release); }
  void leave_overlapping() noexcept;

  /// A record with its header, the arguments to be written; none if there is no room.
  recording::RecordHeader* begin(recording::Operation operation, std::size_t argument_bytes,
                                 std::size_t result_bytes) noexcept {
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
    if (overlaps_.load(std::memory_order_acquire) != 0) note_overlaps(record);
    __atomic_store_n(&block_->header->complete, used_, __ATOMIC_RELEASE);
    // Who made the block ready has its lines in another processor's cache. Beyond a block's end there is no harm in it.
    constexpr int to_write = 1;
    __builtin_prefetch(block_->records() + used_ + 192, to_write);
    __builtin_prefetch(block_->records() + used_ + 256, to_write);
  }

  /// After the record of a clone: what it was cloned from may be lost to who reads this.
  void restate_clone() noexcept;
  std::uint32_t next_call() const noexcept { return call_ + 1; }

  /// Results are there in full for the first call of each kind and every so often.
  bool is_due_in_full(recording::Operation operation) noexcept {
    constexpr std::uint16_t every = 1024;
    std::uint16_t& calls = calls_[static_cast<std::size_t>(operation)];
    const bool due = calls == 0;
    calls = static_cast<std::uint16_t>((calls + 1) % every);
    return due;
  }
  /// What a computation leaves is looked at more seldom than what an operation returns.
  bool is_due(recording::Operation operation) const noexcept {
    constexpr std::uint16_t every = 64;
    return calls_[static_cast<std::size_t>(operation)] % every == 1;
  }

  /// The arguments of what may be a setter, to restate them.
  void keep(recording::Operation operation, const char* arguments, std::size_t bytes) noexcept;
  /// Room for what a computation shows.
  float* scratch() noexcept { return scratch_.data(); }

 private:
  // What calls that overlap the recorded ones have left to be noted, in one word: how many have begun, how many of all
  // are not over, and whether any has ended.
  static constexpr std::uint64_t one_begun = 1;
  static constexpr std::uint64_t one_inside = std::uint64_t{1} << 32;
  static constexpr std::uint64_t any_ended = std::uint64_t{1} << 63;
  static constexpr std::uint64_t all_inside = any_ended - one_inside;

  void enter_overlapping(Session& session) noexcept;
  void note_overlaps(recording::RecordHeader& record) noexcept;
  bool next_block(std::size_t bytes) noexcept;
  std::size_t bytes_to_restate() const noexcept;
  /// The inputs as they are before the call of that number.
  void restate_all(std::uint32_t before_call) noexcept;
  void begin_anew(Session& session) noexcept;
  recording::RecordHeader* write_header(recording::Operation operation, std::size_t bytes, std::uint64_t time) noexcept;
  void restate(recording::Operation operation, const char* arguments, std::size_t bytes, std::uint64_t time) noexcept;

  Recorder& recorder_;
  Session* session_ = nullptr;
  const tesk::RigidBodySystem* real_ = nullptr;
  RobotSize size_;
  std::uint32_t number_;
  std::uint32_t call_ = 0;
  std::atomic<unsigned> busy_{0};  ///< the generation of the call that lasts
  unsigned generation_ = 0;
  std::atomic<std::uint64_t> overlaps_{0};
  bool is_uncertain_ = false;  ///< an input may have been set by a call that is not recorded
  std::uint32_t stream_ = 0;
  Block* block_ = nullptr;
  std::size_t used_ = 0;
  std::array<std::uint16_t, recording::operation_count> calls_{};
  Inputs inputs_;
  std::vector<float> scratch_;
};

inline recording::RecordHeader* Tape::write_header(recording::Operation operation, std::size_t bytes,
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
  return record;
}

inline void Tape::keep(recording::Operation operation, const char* arguments, std::size_t bytes) noexcept {
  if (operation != recording::Operation::setBodyInertia) return inputs_.keep(operation, arguments, bytes);
  std::uint64_t b = 0;
  std::memcpy(&b, arguments, sizeof(b));
  if (b < recorder_.inertias().size()) recorder_.inertias()[b].keep(operation, arguments, bytes);
}

/// A call of the interface while it lasts. Writes its arguments when it is made and its result when it ends.
class Call {
 public:
  template <typename... Values>
  Call(Tape& tape, recording::Operation operation, std::size_t result_bytes, const Values&... arguments) noexcept
      : tape_(tape), operation_(operation), entry_(tape.enter()) {
    if (entry_ != Tape::Entry::recorded) return;
    const std::size_t bytes = (std::size_t{0} + ... + recording::FormOf<Values>::shape.bytes(tape.size()));
    const bool in_full = result_bytes > 0 && tape.is_due_in_full(operation);
    record_ = tape.begin(operation, recording::padded(bytes), in_full ? recording::padded(result_bytes) : 0);
    if (record_ == nullptr) {
      keep_unrecorded(arguments...);
      return;
    }
    result_ = reinterpret_cast<char*>(record_ + 1) + recording::padded(bytes);
    if (in_full) record_->flags |= recording::result_in_full;
    [[maybe_unused]] char* to = reinterpret_cast<char*>(record_ + 1);
    (put(to, arguments), ...);
    // A setter with fewer values than it needs is an error of the caller, and what it sets is not known.
    if ((record_->flags & recording::incomplete_inputs) == 0) {
      tape.keep(operation, reinterpret_cast<const char*>(record_ + 1), bytes);
    }
    tape.begun(*record_);
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  ~Call() {
    if (entry_ == Tape::Entry::recorded) {
      if (record_ != nullptr) tape_.completed(*record_);
      tape_.leave();
    } else if (entry_ == Tape::Entry::overlapping) {
      tape_.leave_overlapping();
    }
  }

  template <typename Value>
  void result(const Value& value) noexcept {
    if (record_ == nullptr) return;
    using Form = recording::FormOf<Value>;
    const std::size_t bytes = Form::shape.bytes(tape_.size());
    if ((record_->flags & recording::result_in_full) != 0) Form::put(result_, bytes, value);
    record_->result = word(value, bytes);
    record_->flags |= recording::has_result;
  }
  /// Of a computation, which leaves it in the object.
  void shown_by(const tesk::RigidBodySystem& robot) noexcept;
  void thrown(bool for_lack_of_memory) noexcept {
    if (record_ == nullptr) return;
    record_->flags |= recording::has_thrown;
    if (for_lack_of_memory) record_->flags |= recording::out_of_memory;
    record_->flags &= static_cast<std::uint16_t>(~recording::result_in_full);
  }

 private:
  template <typename Value>
  void put(char*& to, const Value& value) noexcept {
    const std::size_t bytes = recording::FormOf<Value>::shape.bytes(tape_.size());
    if (!recording::FormOf<Value>::put(to, bytes, value)) record_->flags |= recording::incomplete_inputs;
    to += bytes;
  }

  /// The inputs are known also where the call is not.
  template <typename... Values>
  void keep_unrecorded(const Values&... arguments) noexcept {
    constexpr std::size_t most = 4096;
    std::array<char, most> bytes{};
    char* to = bytes.data();
    bool whole = true;
    [[maybe_unused]] const auto put_one = [&](const auto& value) {
      using Form = recording::FormOf<decltype(value)>;
      const std::size_t size = Form::shape.bytes(tape_.size());
      whole = whole && to + size <= bytes.data() + most && Form::put(to, size, value);
      if (whole) to += size;
    };
    (put_one(arguments), ...);
    if (whole) tape_.keep(operation_, bytes.data(), static_cast<std::size_t>(to - bytes.data()));
  }

  template <typename Value>
  static std::uint64_t word(const Value& value, std::size_t bytes) noexcept {
    using Form = recording::FormOf<Value>;
    if constexpr (Form::shape.type == recording::NumberType::index) {
      return value;
    } else if constexpr (std::is_base_of_v<recording::FormOfFirst<Value>, Form>) {
      const std::size_t given = static_cast<std::size_t>(value.size());
      return recording::result_word(recording::first_of(value), std::min(given, bytes / sizeof(float)));
    } else if constexpr (Form::shape.type == recording::NumberType::real) {
      return recording::result_word(reinterpret_cast<const float*>(&value), bytes / sizeof(float));
    } else if constexpr (Form::shape.type == recording::NumberType::integer) {
      return recording::result_word(static_cast<const void*>(value.data()), std::min(value.size() * 8, bytes));
    } else {
      std::array<char, recording::longest_name> text;
      Form::put(text.data(), text.size(), value);
      return recording::result_word(static_cast<const void*>(text.data()), text.size());
    }
  }

  Tape& tape_;
  recording::Operation operation_;
  Tape::Entry entry_;
  recording::RecordHeader* record_ = nullptr;
  char* result_ = nullptr;
};

}  // namespace korvel::record
