#pragma once

#include <vector>

#include "host/io/output_file.h"
#include "host/replay/recording_file.h"

namespace korvel::host {

/// Writes what an object was set to as a motion file: a row whenever it computed with new positions.
class RecordedMotion {
 public:
  RecordedMotion(const RecordingFile& recording, std::uint32_t object, OutputFile& file);

  void add(const RecordedCall& call);
  std::size_t rows() const { return rows_; }

 private:
  std::uint32_t object_;
  OutputFile& file_;
  QZ::Math::Transform root_;
  std::vector<float> joints_;
  bool is_new_ = false;  ///< since the last row
  double time_ = -1;
  std::size_t rows_ = 0;
};

}  // namespace korvel::host
