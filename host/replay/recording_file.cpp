#include "host/replay/recording_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <queue>

#include "recording/hash.h"

namespace korvel::host {

namespace {

using recording::block_size;
using recording::BlockHeader;
using recording::OperationEntry;
using recording::RecordHeader;

/// As the recorder writes it.
nlohmann::json shape(recording::NumberType type, std::size_t numbers) { return {recording::in_words(type), numbers}; }

bool same_operation(const nlohmann::json& recorded, const OperationEntry& known, const RobotSize& size) {
  nlohmann::json arguments = nlohmann::json::array();
  for (const recording::Shape& s : known.arguments) {
    if (s.type != recording::NumberType::none) arguments.push_back(shape(s.type, s.numbers(size)));
  }
  nlohmann::json expected{{"name", known.name}, {"arguments", arguments}};
  if (known.result_numbers(size) > 0) expected["result"] = shape(known.result_type(), known.result_numbers(size));
  return recorded == expected;
}

}  // namespace

std::uint64_t RecordedCall::index() const {
  std::uint64_t value = 0;
  if (operation.index != recording::Index::none && operation.index != recording::Index::root) {
    std::memcpy(&value, arguments, sizeof(value));
  }
  return value;
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
  if (file_size_ < sizeof(header_)) throw error_at(0, "expected a recording, the file is too short for one");
  read_at(0, &header_, sizeof(header_));
  if (header_.magic == decltype(header_.magic){}) throw error_at(0, "the process ended before it recorded anything");
  if (header_.magic != recording::file_magic) throw error_at(0, "expected a recording, this is none");
  if (header_.version != recording::format_version) {
    throw error_at(8,
                   fmt::format("the format has version {}, expected {}", header_.version, recording::format_version));
  }
  if (header_.block_size != block_size) {
    throw error_at(12, fmt::format("blocks have {} bytes, expected {}", header_.block_size, block_size));
  }
  if (header_.text_size > block_size - sizeof(header_) || file_size_ < block_size) {
    throw error_at(24, "the description is longer than its block, or the file than it says");
  }
  if (ended() && header_.ended != file_size_) {
    throw error_at(96, fmt::format("the file had {} bytes, and has {}", header_.ended, file_size_));
  }
  text_.resize(header_.text_size);
  read_at(sizeof(header_), text_.data(), text_.size());
  if (recording::checksum(text_.data(), text_.size()) != header_.text_checksum) {
    throw error_at(sizeof(header_), "the description has another checksum");
  }
  read_description();
  const auto ticks = static_cast<double>(header_.last.ticks - header_.start.ticks);
  const double nanoseconds =
      static_cast<double>(header_.last.monotonic_ns) - static_cast<double>(header_.start.monotonic_ns);
  const double rate = nanoseconds / ticks;
  if (rate > 1e-3 && rate < 1e3) seconds_per_tick_ = rate * 1e-9;
  read_blocks();
}

void RecordingFile::read_description() try {
  const nlohmann::json all = nlohmann::json::parse(text_);
  version_ = all.at("module").at("version");
  build_id_ = all.at("module").at("build_id");
  bodies_ = all.at("bodies").get<std::vector<std::string>>();
  joints_ = all.at("joints").get<std::vector<std::string>>();
  if (bodies_.empty() || bodies_.size() > 1000 || joints_.size() + 1 != bodies_.size()) {
    throw error_at(sizeof(header_), "expected one joint per body but the root");
  }
  size_ = RobotSize(static_cast<int>(bodies_.size()));
  size_.volatile_frames = std::clamp(all.at("volatile_frames").get<int>(), 0, 1000);
  const nlohmann::json& operations = all.at("operations");
  for (std::size_t i = 0; i < operations.size(); ++i) {
    if (i < recording::operation_count && same_operation(operations[i], recording::all_operations()[i], size_))
      continue;
    throw error_at(sizeof(header_),
                   fmt::format("operation {} is not known here as it was recorded: {:.150}", i, operations[i].dump()));
  }
} catch (const nlohmann::json::exception& error) {
  throw error_at(sizeof(header_), std::string("the description cannot be read: ") + error.what());
}

void RecordingFile::read_blocks() {
  const std::uint64_t rest = file_size_ % block_size;
  if (rest != 0 && ended()) throw error_at(file_size_ - rest, "the last block is cut short");
  std::map<std::uint32_t, std::vector<BlockPlace>> streams;
  for (std::uint64_t offset = block_size; offset + block_size <= file_size_; offset += block_size) {
    BlockPlace place{offset, {}};
    read_at(offset, &place.header, sizeof(place.header));
    // Never made, or made and never taken.
    if (place.header.number == 0 && (place.header.magic == 0 || place.header.magic == recording::block_magic)) continue;
    if (place.header.magic != recording::block_magic) throw error_at(offset, "expected a block, this is none");
    streams[place.header.stream].push_back(place);
  }
  for (auto& [number, blocks] : streams) {
    std::sort(blocks.begin(), blocks.end(),
              [](const BlockPlace& a, const BlockPlace& b) { return a.header.number < b.header.number; });
    for (std::size_t i = 1; i < blocks.size(); ++i) {
      if (blocks[i].header.number == blocks[i - 1].header.number) {
        throw error_at(blocks[i].offset, fmt::format("block {} is there twice", blocks[i].header.number));
      }
    }
    streams_.push_back(std::move(blocks));
  }
}

void RecordingFile::read_at(std::uint64_t offset, void* to, std::size_t bytes) const {
  file_.clear();
  file_.seekg(static_cast<std::streamoff>(offset));
  file_.read(static_cast<char*>(to), static_cast<std::streamsize>(bytes));
  if (!file_) throw error_at(offset, "the file cannot be read");
}

Error RecordingFile::error_at(std::uint64_t offset, const std::string& text) const {
  return Error(fmt::format("{}: byte {}: {}", path_.string(), offset, text));
}

// ---- Records --------------------------------------------------------------------------------------------------------

/// Goes through the records of a stream.
class RecordingFile::Cursor {
 public:
  Cursor(const RecordingFile& file, const std::vector<BlockPlace>& blocks) : file_(file), blocks_(blocks) {}

  /// When the next record was written; of one in a block that has not been read yet, no earlier than this.
  std::uint64_t ticks() const { return at_ < end_ ? header().ticks : blocks_[next_].header.ticks; }
  bool at_end() const { return at_ == end_ && next_ == blocks_.size(); }
  /// Whether there is a record; reads the next block if this one has no more. False also after a block without records.
  bool ready() {
    if (at_ == end_) read_block(blocks_[next_++]);
    return at_ < end_;
  }
  RecordedCall call() const {
    const RecordHeader record = header();
    const OperationEntry& operation = recording::all_operations()[record.operation];
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

  void read_block(const BlockPlace& place) {
    bytes_.resize(block_size);
    file_.read_at(place.offset, bytes_.data(), block_size);
    offset_ = place.offset;
    at_ = sizeof(BlockHeader);
    end_ = at_;
    const BlockHeader& block = place.header;
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
    if (record.operation >= recording::operation_count)
      return fmt::format("no operation has number {}", record.operation);
    const OperationEntry& e = recording::all_operations()[record.operation];
    const bool in_full = (record.flags & recording::result_in_full) != 0;
    const std::size_t expected = sizeof(record) + recording::padded(e.argument_bytes(file_.size_)) +
                                 (in_full ? recording::padded(e.result_bytes(file_.size_)) : 0);
    // One that has thrown had room for a result.
    const std::size_t with_result = expected + recording::padded(e.result_bytes(file_.size_));
    const bool has_room = (record.flags & recording::has_thrown) != 0 && record.size == with_result;
    if (record.size != expected && !has_room) {
      return fmt::format("a record of {} has {} bytes, expected {}", e.name, record.size, expected);
    }
    if (record.size > last - at) return "a record goes on behind the end of its block";
    if ((record.flags & recording::restated) != 0 && !recording::is_restated(e.operation)) {
      return fmt::format("{} is no input that is restated", e.name);
    }
    return {};
  }

  void unusable(const std::string& what) {
    if (file_.ended()) throw file_.error_at(offset_ + end_, what);
    ++file_.left_out_;
    end_ = at_;
  }

  const RecordingFile& file_;
  const std::vector<BlockPlace>& blocks_;
  std::size_t next_ = 0;
  std::vector<char> bytes_;
  std::uint64_t offset_ = 0;  ///< of the block
  std::size_t at_ = 0, end_ = 0;
  std::size_t checked_end_ = 0;
};

void RecordingFile::for_each(const std::function<bool(const RecordedCall&)>& visit) const {
  left_out_ = 0;
  const auto later = [](const auto& a, const auto& b) { return a.first > b.first; };
  using Waiting = std::pair<std::pair<std::uint64_t, std::size_t>, std::unique_ptr<Cursor>>;
  std::vector<Waiting> waiting;
  for (std::size_t i = 0; i < streams_.size(); ++i) {
    auto cursor = std::make_unique<Cursor>(*this, streams_[i]);
    const std::uint64_t ticks = cursor->ticks();
    waiting.emplace_back(std::pair(ticks, i), std::move(cursor));
  }
  std::make_heap(waiting.begin(), waiting.end(), later);
  while (!waiting.empty()) {
    std::pop_heap(waiting.begin(), waiting.end(), later);
    auto& [key, cursor] = waiting.back();
    // A block's first record may be later than the block.
    const bool ready = cursor->ready();
    if (ready && cursor->ticks() <= key.first) {
      if (!visit(cursor->call())) return;
      cursor->next();
    }
    if (cursor->at_end()) {
      waiting.pop_back();
      continue;
    }
    // Never back in time, whatever the file says.
    key.first = std::max(key.first, cursor->ticks());
    std::push_heap(waiting.begin(), waiting.end(), later);
  }
}

}  // namespace korvel::host
