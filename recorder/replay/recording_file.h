#pragma once

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "motion/csv/error.h"
#include "recorder/format/operations.h"

namespace korvel::host {

/// The place of a call.
struct CallPosition {
  std::uint32_t object, call;
  double time;           ///< since the recording began [s]
  std::uint64_t offset;  ///< in the file
};

/// A call as it was recorded.
struct RecordedCall {
  recording::RecordHeader header;
  const recording::OperationEntry& operation;
  const char* arguments;
  const char* result;    ///< in full, or null
  double time;           ///< since the recording began [s]
  double took;           ///< [s]
  std::uint64_t offset;  ///< of the record in the file
  bool is_certain;       ///< covered by a checksum; what is not was written shortly before the process ended

  CallPosition position() const { return {header.object, header.call, time, offset}; }
  template <auto method>
  bool is() const {
    return operation.number == operation_of<method>;
  }
  bool has(recording::RecordFlag flag) const { return (header.flags & flag) != 0; }
  bool has_returned() const { return header.took != recording::not_returned; }
  /// Index of the body, joint or frame; 0 for the root.
  std::uint64_t index() const {
    const bool has_one = operation.index != IndexKind::none && operation.index != IndexKind::root;
    return has_one ? recording::take<std::uint64_t>(arguments, 0) : 0;
  }
  bool has_finite_arguments(const RobotSize& size) const;
  /// Returns whether the operation takes this index. Only getPose takes one of no body, ~0.
  bool has_valid_index(const RobotSize& size) const {
    const IndexKind kind = operation.index;
    if (kind == IndexKind::none || kind == IndexKind::root || index() < count_of(kind, size)) return true;
    return kind == IndexKind::body_or_none && (!is<&Interface::getPose>() || index() == ~std::uint64_t{0});
  }
};

inline bool all_finite(const char* floats, std::size_t count) {
  bool all = true;
  for (std::size_t i = 0; i < count; ++i)
    all = all && std::isfinite(recording::take<float>(floats + i * sizeof(float), 0));
  return all;
}

/// A file that the recorder has written, whole or as the end of its process left it.
class RecordingFile {
 public:
  /// Reads what the file says of itself. Throws Error with the file, and the byte of what is wrong.
  explicit RecordingFile(std::filesystem::path path);

  const std::filesystem::path& path() const { return path_; }
  const recording::FileHeader& header() const { return header_; }
  const RobotSize& size() const { return size_; }
  const std::vector<std::string>& bodies() const { return bodies_; }
  const std::vector<std::string>& joints() const { return joints_; }
  const std::string& module_version() const { return version_; }
  const std::string& build_id() const { return build_id_; }
  /// The JSON of the file.
  const std::string& description() const { return text_; }
  bool ended() const { return header_.ended != 0; }
  /// Returns whether the recording was closed and the end of its header does not have its checksum. Times and counters
  /// of lost and overlapping calls are uncertain then.
  bool header_damaged() const { return header_damaged_; }
  /// Returns the number of blocks of records.
  std::size_t blocks() const { return blocks_; }
  /// Returns how many there were, with those that were written over or cut off.
  std::uint64_t last_block() const { return std::max(last_block_, header_.last_block); }

  /// Returns the time from the beginning to the last writing of the recorder [s].
  double duration() const { return seconds(header_.last.ticks - header_.start.ticks); }

  /// Calls `visit` with every record in the order of time, until it returns false. What it is handed lives until it
  /// returns. Throws Error as the constructor does. Of a file that was not ended, a block that is not whole is left
  /// out.
  void for_each(const std::function<bool(const RecordedCall&)>& visit) const;
  /// Counts those of the last `for_each`.
  std::size_t blocks_left_out() const { return left_out_; }

 private:
  struct BlockPosition {
    std::uint64_t offset;
    recording::BlockHeader header;
  };
  using Stream = std::map<std::uint64_t, BlockPosition>;  ///< by number, in the order of time
  class Cursor;

  void read_header();
  void read_description();
  void read_blocks();
  void read_at(std::uint64_t offset, void* to, std::size_t bytes) const;
  template <typename... Parts>
  Error error_at(std::uint64_t offset, fmt::format_string<const Parts&...> words, const Parts&... parts) const {
    return Error("{}: byte {}: {}", path_.string(), offset, fmt::format(words, parts...));
  }
  double seconds(std::uint64_t ticks) const { return static_cast<double>(ticks) * seconds_per_tick_; }

  std::filesystem::path path_;
  mutable std::ifstream file_;
  std::uint64_t file_size_ = 0;
  std::size_t blocks_ = 0;
  std::uint64_t last_block_ = 0;
  recording::FileHeader header_{};
  std::string text_;
  std::string version_, build_id_;
  std::vector<std::string> bodies_, joints_;
  RobotSize size_{1};
  double seconds_per_tick_ = 1e-9;
  std::map<std::uint32_t, Stream> streams_;
  bool header_damaged_ = false;
  mutable std::size_t left_out_ = 0;
};

}  // namespace korvel::host
