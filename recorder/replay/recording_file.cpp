#include "recorder/replay/recording_file.h"

#include <fmt/format.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <queue>

#include "recorder/format/hash.h"

namespace korvel::host {

namespace {

using recording::block_size;
using recording::BlockHeader;
using recording::OperationEntry;
using recording::RecordHeader;

/// The members of a description. A recorder that wrote a path as it was, or numbers as the host's locale has them, has
/// left JSON that cannot be parsed. Each member begins a line, so that the others can be.
nlohmann::json members_of(const std::string& text) {
  nlohmann::json all = nlohmann::json::parse(text, nullptr, false);
  const std::size_t closing = text.rfind('}');
  if (!all.is_discarded() || closing == std::string::npos) return all;
  all = nlohmann::json::object();
  for (std::size_t begin = 1, end = 0; begin < closing; begin = end + 1) {
    end = std::min(text.find(",\n\"", begin), closing);
    const nlohmann::json member = nlohmann::json::parse('{' + text.substr(begin, end - begin) + '}', nullptr, false);
    if (member.is_object()) all.update(member);
  }
  return all;
}

}  // namespace

bool RecordedCall::has_finite_arguments(const RobotSize& size) const {
  const char* at = arguments;
  for (const recording::Shape& shape : operation.arguments) {
    const std::size_t bytes = shape.bytes(size);
    if (shape.type == recording::NumberType::real && !all_finite(at, bytes / sizeof(float))) return false;
    at += bytes;
  }
  return true;
}

// ---- What the file says of itself -----------------------------------------------------------------------------------

RecordingFile::RecordingFile(std::filesystem::path path) : path_(std::move(path)) {
  std::error_code failure;
  if (std::filesystem::is_directory(path_, failure)) {
    throw Error(path_.string() + ": expected a recording, found a directory");
  }
  file_size_ = std::filesystem::file_size(path_, failure);
  if (failure) throw Error(path_.string() + ": " + failure.message());
  file_.open(path_, std::ios::binary);
  if (!file_) throw Error(path_.string() + ": cannot be read");
  read_header();
  read_description();
  const auto ticks = static_cast<double>(header_.last.ticks - header_.start.ticks);
  const double nanoseconds =
      static_cast<double>(header_.last.monotonic_ns) - static_cast<double>(header_.start.monotonic_ns);
  const double rate = nanoseconds / ticks;
  if (rate > 1e-3 && rate < 1e3) seconds_per_tick_ = rate * 1e-9;
  read_blocks();
}

void RecordingFile::read_header() {
  const std::size_t first_size = recording::header_size(1);
  if (file_size_ < first_size) throw error_at(0, "expected a recording, the file is too short for one");
  read_at(0, &header_, first_size);
  if (header_.magic == 0) throw error_at(0, "the process ended before it recorded anything");
  if (header_.magic != recording::file_magic) throw error_at(0, "expected a recording, this is none");
  if (header_.version == 0 || header_.version > recording::format_version) {
    throw error_at(8, "the format has version {}, expected 1 to {}", header_.version, recording::format_version);
  }
  if (header_.block_size != block_size) {
    throw error_at(12, "blocks have {} bytes, expected {}", header_.block_size, block_size);
  }
  const std::size_t size = recording::header_size(header_.version);
  if (header_.text_size > block_size - size || file_size_ < block_size) {
    throw error_at(24, "the description is longer than its block, or the file than it says");
  }
  read_at(0, &header_, size);
  recording::FileHeader sealed = header_;
  recording::seal(sealed);
  if (header_.version > 1 && sealed.start_checksum != header_.start_checksum) {
    throw error_at(offsetof(recording::FileHeader, start_checksum), "the header has another checksum");
  }
  // The end of a header is written last, when the recording is closed. If it is damaged, the blocks still show what
  // they hold, as in a recording that is not closed.
  header_damaged_ = header_.version > 1 && header_.ended != 0 && sealed.checksum != header_.checksum;
  if (header_damaged_) header_.ended = 0;
  if (ended() && header_.ended != file_size_) {
    throw error_at(96, "the file had {} bytes, and has {}", header_.ended, file_size_);
  }
  text_.resize(header_.text_size);
  read_at(size, text_.data(), text_.size());
  if (recording::checksum(text_.data(), text_.size()) != header_.text_checksum) {
    throw error_at(size, "the description has another checksum");
  }
}

void RecordingFile::read_description() try {
  const nlohmann::json all = members_of(text_);
  version_ = all.value("/module/version"_json_pointer, "unknown");
  build_id_ = all.value("/module/build_id"_json_pointer, "unknown");
  bodies_ = all.at("bodies").get<std::vector<std::string>>();
  joints_ = all.at("joints").get<std::vector<std::string>>();
  if (bodies_.empty() || bodies_.size() > 1000 || joints_.size() + 1 != bodies_.size()) {
    throw error_at(recording::header_size(header_.version), "expected one joint per body but the root");
  }
  size_ = RobotSize(static_cast<int>(bodies_.size()));
  size_.volatile_frames = std::clamp(all.at("volatile_frames").get<int>(), 0, 1000);
  const nlohmann::json& operations = all.at("operations");
  for (std::size_t i = 0; i < operations.size(); ++i) {
    const bool is_known = i < operation_count && operations[i] == nlohmann::json::parse(recording::description(
                                                                      recording::all_operations[i], size_));
    if (is_known) continue;
    throw error_at(recording::header_size(header_.version),
                   "operation {} is not known here as it was recorded: {:.150}", i, operations[i].dump());
  }
} catch (const nlohmann::json::exception& error) {
  throw error_at(recording::header_size(header_.version), "the description cannot be read: {}", error.what());
}

void RecordingFile::read_blocks() {
  const std::uint64_t rest = file_size_ % block_size;
  if (rest != 0 && ended()) throw error_at(file_size_ - rest, "the last block is cut short");
  std::uint64_t& last = last_block_;
  std::optional<BlockPosition> twice;
  for (std::uint64_t offset = block_size; offset + block_size <= file_size_; offset += block_size) {
    BlockPosition position{offset, {}};
    read_at(offset, &position.header, sizeof(position.header));
    // Never made, in a file that was not ended.
    if (position.header.number == 0 && position.header.magic == 0 && !ended()) continue;
    if (position.header.magic != recording::block_magic) throw error_at(offset, "expected a block, this is none");
    // Made and never taken.
    if (position.header.number == 0) continue;
    ++blocks_;
    last = std::max(last, position.header.number);
    const bool is_new = streams_[position.header.stream].emplace(position.header.number, position).second;
    if (!is_new && !twice) twice = position;
  }
  if (ended() && header_.version > 1 && (blocks_ != header_.blocks || last > header_.last_block)) {
    throw error_at(104, "{} blocks of records were written, up to number {}, and {} are here, up to {}", header_.blocks,
                   header_.last_block, blocks_, last);
  }
  if (twice) throw error_at(twice->offset, "block {} is there twice", twice->header.number);
}

void RecordingFile::read_at(std::uint64_t offset, void* to, std::size_t bytes) const {
  file_.clear();
  file_.seekg(static_cast<std::streamoff>(offset));
  file_.read(static_cast<char*>(to), static_cast<std::streamsize>(bytes));
  if (!file_) throw error_at(offset, "the file cannot be read");
}

// ---- Records --------------------------------------------------------------------------------------------------------

/// Goes through the records of a stream.
class RecordingFile::Cursor {
 public:
  Cursor(const RecordingFile& file, const Stream& blocks) : file_(file), next_(blocks.begin()), last_(blocks.end()) {}

  /// When the next record was written; of one in a block that has not been read yet, no earlier than this.
  std::uint64_t ticks() const { return at_ < end_ ? header().ticks : next_->second.header.ticks; }
  bool at_end() const { return at_ == end_ && next_ == last_; }
  /// Returns whether there is a record; reads the next block if this one has no more. Also false after a block without
  /// records.
  bool ready() {
    if (at_ == end_) read_block((next_++)->second);
    return at_ < end_;
  }
  RecordedCall call() const {
    const RecordHeader record = header();
    const OperationEntry& operation = recording::all_operations[record.operation];
    const char* arguments = bytes_.data() + at_ + sizeof(record);
    const bool in_full = (record.flags & recording::result_in_full) != 0;
    return {record,
            operation,
            arguments,
            in_full ? arguments + recording::padded(operation.argument_bytes(file_.size_)) : nullptr,
            file_.seconds(record.ticks - file_.header_.start.ticks),
            file_.seconds(record.took),
            offset_ + at_,
            at_ + record.size <= checked_end_};
  }
  void next() { at_ += header().size; }

 private:
  RecordHeader header() const {
    RecordHeader record;
    std::memcpy(&record, bytes_.data() + at_, sizeof(record));
    return record;
  }

  void read_block(const BlockPosition& position) {
    bytes_.resize(block_size);
    file_.read_at(position.offset, bytes_.data(), block_size);
    offset_ = position.offset;
    at_ = sizeof(BlockHeader);
    end_ = at_;
    const BlockHeader& block = position.header;
    if (block.complete > block.begun || block.begun > recording::records_per_block) {
      return unusable("a block says that it has more records than it can have");
    }
    const std::uint64_t checked = checked_size(block);
    checked_end_ = sizeof(BlockHeader) + checked;
    if (file_.ended() ? checked != block.complete : checked == 0 && block.check[0].size + block.check[1].size > 0) {
      return unusable("a block has another checksum");
    }
    // A call that has not returned stands behind those that have.
    const std::size_t last = sizeof(BlockHeader) + block.begun;
    while (end_ < last) {
      RecordHeader record;
      const std::string wrong = what_is_wrong(end_, last, record);
      if (!wrong.empty()) {
        if (file_.ended() || end_ < checked_end_) return unusable(wrong);
        // Written after the last checksum and before the power was lost.
        ++file_.left_out_;
        return;
      }
      end_ += record.size;
    }
  }

  /// Bytes that one of the two checksums is right for.
  std::uint64_t checked_size(const BlockHeader& block) const {
    std::uint64_t most = 0;
    for (const recording::Check& check : block.check) {
      if (check.size > block.complete || check.size < most) continue;
      if (recording::checksum(block, bytes_.data() + sizeof(block), check.size) == check.checksum) most = check.size;
    }
    return most;
  }

  std::string what_is_wrong(std::size_t at, std::size_t last, RecordHeader& record) const {
    if (last - at < sizeof(record)) return "a record is cut short";
    std::memcpy(&record, bytes_.data() + at, sizeof(record));
    if (record.operation >= operation_count) return fmt::format("no operation has number {}", record.operation);
    const OperationEntry& e = recording::all_operations[record.operation];
    const bool in_full = (record.flags & recording::result_in_full) != 0;
    const std::size_t expected = sizeof(record) + recording::padded(e.argument_bytes(file_.size_)) +
                                 (in_full ? recording::padded(e.result.bytes(file_.size_)) : 0);
    // One that has thrown had space for a result.
    const std::size_t with_result = expected + recording::padded(e.result.bytes(file_.size_));
    const bool has_room = (record.flags & recording::has_thrown) != 0 && record.size == with_result;
    if (record.size != expected && !has_room) {
      return fmt::format("a record of {} has {} bytes, expected {}", e.name, record.size, expected);
    }
    if (record.size > last - at) return "a record goes on behind the end of its block";
    if ((record.flags & recording::restated) != 0 && !recording::is_restated(e)) {
      return fmt::format("{} is no input that is restated", e.name);
    }
    return {};
  }

  void unusable(const std::string& what) {
    if (file_.ended()) throw file_.error_at(offset_ + end_, "{}", what);
    ++file_.left_out_;
    end_ = at_;
  }

  const RecordingFile& file_;
  Stream::const_iterator next_, last_;
  std::vector<char> bytes_;
  std::uint64_t offset_ = 0;  ///< of the block
  std::size_t at_ = 0, end_ = 0;
  std::size_t checked_end_ = 0;
};

void RecordingFile::for_each(const std::function<bool(const RecordedCall&)>& visit) const {
  left_out_ = 0;
  std::map<std::uint32_t, Cursor> cursors;
  // The time before which a stream has no record, and the stream; the earliest on top.
  using Next = std::pair<std::uint64_t, std::uint32_t>;
  std::priority_queue<Next, std::vector<Next>, std::greater<>> next;
  for (const auto& [number, stream] : streams_) {
    cursors.try_emplace(number, *this, stream);
    next.emplace(stream.begin()->second.header.ticks, number);
  }
  while (!next.empty()) {
    const auto [time, number] = next.top();
    next.pop();
    Cursor& cursor = cursors.at(number);
    // A block's first record may be later than the block.
    if (cursor.ready() && cursor.ticks() <= time) {
      if (!visit(cursor.call())) return;
      cursor.next();
    }
    if (cursor.at_end()) {
      cursors.erase(number);
    } else {
      // Never back in time, whatever the file says.
      next.emplace(std::max(time, cursor.ticks()), number);
    }
  }
}

}  // namespace korvel::host
