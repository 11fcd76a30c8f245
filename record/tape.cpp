#include "record/tape.h"

#include <algorithm>
#include <utility>

namespace korvel::record {

using recording::Operation;
using recording::RecordHeader;

namespace {

std::size_t most_shown(const RobotSize& size) {
  std::size_t most = 0;
  for (const recording::OperationEntry& e : recording::all_operations()) {
    if (!e.shown.empty()) most = std::max(most, e.result_numbers(size));
  }
  return most;
}

}  // namespace

Tape::Tape(const RobotSize& size)
    : recorder_(Recorder::get()),
      size_(size),
      number_(recorder_.next_number()),
      inputs_(size_),
      scratch_(most_shown(size_)) {}

Tape::Tape(const Tape& other)
    : recorder_(other.recorder_),
      size_(other.size_),
      number_(recorder_.next_number()),
      is_uncertain_(other.is_uncertain_ || other.overlaps_.load(std::memory_order_acquire) != 0),
      inputs_(other.inputs_),
      scratch_(other.scratch_.size()) {}

Tape::~Tape() {
  Session* session = recorder_.session();
  if (block_ != nullptr && session != nullptr && generation_ == session->generation()) session->leave_spare(*block_);
}

void Tape::begin_anew(Session& session) noexcept {
  const bool is_first = generation_ == 0;
  session_ = &session;
  generation_ = session.generation();
  overlaps_.store(0, std::memory_order_relaxed);
  used_ = 0;
  block_ = is_first ? session.take_spare() : nullptr;
  if (block_ != nullptr) {
    stream_ = block_->header->stream;
    used_ = block_->header->complete;
  } else {
    stream_ = recorder_.next_stream();
  }
}

// ---- Calls that overlap ---------------------------------------------------------------------------------------------

void Tape::enter_overlapping(Session& session) noexcept {
  session.count_overlapped();
  overlaps_.fetch_add(one_begun + one_inside);
}

void Tape::leave_overlapping() noexcept {
  overlaps_.fetch_or(any_ended);
  overlaps_.fetch_sub(one_inside);
}

void Tape::note_overlaps(RecordHeader& record) noexcept {
  // They get the numbers after this call's, which makes a gap.
  call_ += static_cast<std::uint32_t>(overlaps_.fetch_and(all_inside));
  record.flags |= recording::overlapped;
  is_uncertain_ = true;
}

// ---- Blocks ---------------------------------------------------------------------------------------------------------

bool Tape::next_block(std::size_t bytes) noexcept {
  if (block_ != nullptr) Session::leave(*block_);
  used_ = 0;
  block_ = session_->take(stream_);
  if (block_ != nullptr) {
    // Of a robot too large for a block nothing is recorded.
    const bool restates = call_ > 1;
    if (bytes + (restates ? bytes_to_restate() : 0) <= recording::records_per_block) {
      if (restates) restate_all(call_);
      return true;
    }
  }
  session_->count_lost();
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
  const auto add = [&](std::size_t arguments) { bytes += sizeof(RecordHeader) + recording::padded(arguments); };
  for (const Input& input : recorder_.inertias()) {
    if (input.operation != Input::never) add(input.size);
  }
  inputs_.for_each([&](Operation, const char*, std::size_t size) { add(size); });
  return bytes;
}

void Tape::restate_clone() noexcept {
  if (block_ == nullptr) return;
  if (used_ + bytes_to_restate() <= recording::records_per_block) return restate_all(next_call());
  // With the next call, in a block of its own.
  Session::leave(*block_);
  block_ = nullptr;
}

void Tape::restate_all(std::uint32_t before_call) noexcept {
  const std::uint32_t call = std::exchange(call_, before_call);
  const std::uint64_t time = ticks();
  auto* made = reinterpret_cast<RecordHeader*>(block_->records() + used_);
  restate(Operation::create, nullptr, 0, time);
  if (is_uncertain_) made->flags |= recording::overlapped;
  for (const Input& input : recorder_.inertias()) {
    if (input.operation != Input::never) restate(Operation::setBodyInertia, input.arguments, input.size, time);
  }
  // No setter, but what the sum of masses has been rounded to.
  auto* record = reinterpret_cast<RecordHeader*>(block_->records() + used_);
  restate(Operation::getMass, nullptr, 0, time);
  const float mass = real_->getMass();
  record->flags |= recording::has_result;
  record->result = recording::result_word(&mass, 1);
  inputs_.for_each([&](Operation operation, const char* arguments, std::size_t bytes) {
    restate(operation, arguments, bytes, time);
  });
  call_ = call;
  __atomic_store_n(&block_->header->begun, used_, __ATOMIC_RELEASE);
  __atomic_store_n(&block_->header->complete, used_, __ATOMIC_RELEASE);
}

void Call::shown_by(const tesk::RigidBodySystem& robot) noexcept {
  if (record_ == nullptr) return;
  const bool in_full = (record_->flags & recording::result_in_full) != 0;
  if (!in_full && !tape_.is_due(operation_)) return;
  const recording::OperationEntry& e = recording::entry(operation_);
  float* numbers = tape_.scratch();
  std::size_t count = 0;
  for (const Result result : e.shown) {
    const ResultEntry& shown = korvel::entry(result);
    shown.read(robot, numbers + count);
    count += static_cast<std::size_t>(shown.pieces(tape_.size()) * shown.length(tape_.size()));
  }
  if (in_full) std::memcpy(result_, numbers, count * sizeof(float));
  record_->flags |= recording::has_result;
  record_->result = recording::result_word(numbers, count);
}

}  // namespace korvel::record
