#include "recorder/module/tape.h"

#include <utility>

namespace korvel::record {

using recording::RecordHeader;

/// The stages of all computations.
constexpr Stages computed{Stage::except_root, Stage::only_root, Stage::generalized_mass, Stage::inverse_dynamics};

Tape::Tape(const RobotSize& size)
    : recorder_(Recorder::get()),
      size_(size),
      number_(recorder_.next_number()),
      is_overlapped_(false),
      inputs_(size_, recording::inputs_of_object),
      scratch_(static_cast<std::size_t>(shown_numbers(computed, size_))) {}

Tape::Tape(const Tape& other)
    : recorder_(other.recorder_),
      size_(other.size_),
      number_(recorder_.next_number()),
      is_overlapped_(other.is_overlapped_.load()),
      inputs_(other.inputs_),
      scratch_(other.scratch_.size()) {}

Tape::~Tape() {
  RecordingWriter* writer = recorder_.writer();
  if (block_ != nullptr && writer != nullptr) writer->leave_spare(*block_);
}

void Tape::begin(RecordingWriter& writer) noexcept {
  writer_ = &writer;
  block_ = writer.take_spare();
  if (block_ != nullptr) {
    stream_ = block_->header->stream;
    used_ = block_->header->complete;
  } else {
    stream_ = recorder_.next_stream();
  }
}

// ---- Blocks ---------------------------------------------------------------------------------------------------------

bool Tape::next_block(std::size_t bytes) noexcept {
  if (block_ != nullptr) RecordingWriter::leave(*block_);
  used_ = 0;
  block_ = writer_->take(stream_);
  if (block_ != nullptr) {
    // A robot that is too large for a block is not recorded.
    const bool restates = call_ > 1;
    if (bytes + (restates ? bytes_to_restate() : 0) <= recording::records_per_block) {
      if (restates) restate_all(call_);
      return true;
    }
  }
  writer_->count_lost();
  return false;
}

void Tape::restate(Operation operation, const char* arguments, std::size_t bytes, std::uint64_t time) noexcept {
  const std::size_t size = sizeof(RecordHeader) + recording::padded(bytes);
  RecordHeader* record = write_header(operation, size, time);
  record->flags |= recording::restated;
  record->took = 0;
  if (bytes > 0) std::memcpy(record + 1, arguments, bytes);
  used_ += size;
}

std::size_t Tape::bytes_to_restate() const noexcept {
  std::size_t bytes = 2 * sizeof(RecordHeader);
  const auto add = [&](Operation, const char*, std::size_t arguments) {
    bytes += sizeof(RecordHeader) + recording::padded(arguments);
  };
  recorder_.inertias().for_each(size_, add);
  inputs_.for_each(size_, add);
  return bytes;
}

void Tape::restate_clone() noexcept {
  if (block_ == nullptr) return;
  if (used_ + bytes_to_restate() <= recording::records_per_block) return restate_all(next_call());
  // The next call begins a new block.
  RecordingWriter::leave(*block_);
  block_ = nullptr;
}

void Tape::restate_all(std::uint32_t before_call) noexcept {
  const std::uint32_t call = std::exchange(call_, before_call);
  const std::uint64_t time = ticks();
  const auto restate_input = [&](Operation setter, const char* arguments, std::size_t bytes) {
    restate(setter, arguments, bytes, time);
  };
  restate(operation_of<&::create>, nullptr, 0, time);
  recorder_.inertias().for_each(size_, restate_input);
  // No setter restores the rounding of the sum of masses, so its value is recorded.
  auto* record = reinterpret_cast<RecordHeader*>(block_->records() + used_);
  restate(operation_of<mass_of_robot>, nullptr, 0, time);
  const float mass = real_->getMass();
  record->flags |= recording::has_result;
  record->result = recording::result_word(recording::NumberType::real, &mass, sizeof(mass));
  inputs_.for_each(size_, restate_input);
  call_ = call;
  __atomic_store_n(&block_->header->begun, used_, __ATOMIC_RELEASE);
  __atomic_store_n(&block_->header->complete, used_, __ATOMIC_RELEASE);
}

void Call::shown_by(const tesk::RigidBodySystem& robot) noexcept {
  if (record_ == nullptr) return;
  const bool in_full = (record_->flags & recording::result_in_full) != 0;
  if (!in_full && !tape_.is_due(operation_)) return;
  const recording::OperationEntry& e = recording::entry(operation_);
  const std::size_t bytes = e.result.bytes(tape_.size());
  float* numbers = tape_.scratch();
  read_shown(robot, e.stages, tape_.size(), numbers);
  if (in_full) std::memcpy(result_, numbers, bytes);
  record_->flags |= recording::has_result;
  record_->result = recording::result_word(e.result.type, numbers, bytes);
}

}  // namespace korvel::record
