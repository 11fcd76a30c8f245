#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "host/io/output_file.h"

namespace korvel::host {

/// A script that node runs in a process of its own, which makes a file of the text that it is handed.
class NodeScript {
 public:
  /// Starts it; `file` is its to write until `finish` returns. Throws Error if there is no node.
  NodeScript(const std::filesystem::path& script, const OutputFile& file);
  NodeScript(const NodeScript&) = delete;
  NodeScript& operator=(const NodeScript&) = delete;
  ~NodeScript();

  /// Throws Error, as `finish` does, if the script has ended.
  void write(std::string_view text);
  /// It has all its text; waits until it has ended. Throws Error with the script's words if it failed.
  void finish();

 private:
  /// How the process ended.
  int wait();

  std::filesystem::path file_;
  int channel_ = -1;  ///< its standard input
  int words_ = -1;    ///< its standard error, a file in memory
  pid_t process_ = -1;
};

}  // namespace korvel::host
