#pragma once

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "host/io/error.h"
#include "recording/operations.h"

namespace korvel::host {

/// Where a call is.
struct Place {
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

  Place place() const { return {header.object, header.call, time, offset}; }
  bool has(recording::RecordFlag flag) const { return (header.flags & flag) != 0; }
  bool has_returned() const { return header.took != recording::not_returned; }
  /// Of body, joint or frame; 0 of the root.
  std::uint64_t index() const;
};

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

  /// Calls `visit` with every record in the order of time, until it returns false. What it is handed lives until it
  /// returns. Throws Error as the constructor does. Of a file that was not ended, a block that is not whole is left
  /// out.
  void for_each(const std::function<bool(const RecordedCall&)>& visit) const;
  /// Of the last `for_each`.
  std::size_t blocks_left_out() const { return left_out_; }

 private:
  struct BlockPlace {
    std::uint64_t offset;
    recording::BlockHeader header;
  };
  class Cursor;

  void read_description();
  void read_blocks();
  void read_at(std::uint64_t offset, void* to, std::size_t bytes) const;
  Error error_at(std::uint64_t offset, const std::string& text) const;
  double seconds(std::uint64_t ticks) const { return static_cast<double>(ticks) * seconds_per_tick_; }

  std::filesystem::path path_;
  mutable std::ifstream file_;
  std::uint64_t file_size_ = 0;
  recording::FileHeader header_{};
  std::string text_;
  std::string version_, build_id_;
  std::vector<std::string> bodies_, joints_;
  RobotSize size_{1};
  double seconds_per_tick_ = 1e-9;
  std::vector<std::vector<BlockPlace>> streams_;  ///< each in the order of time
  mutable std::size_t left_out_ = 0;
};

}  // namespace korvel::host
