#pragma once

#include <string>
#include <vector>

#include "host/replay/recording_file.h"

namespace korvel::host {

/// What an object was set to, as a motion: it has a sample whenever the object computed with new positions.
class RecordedMotion {
 public:
  RecordedMotion(const RecordingFile& recording, std::uint32_t object)
      : object_(object), joints_(recording.joints().size()) {}

  /// Follows the calls from the first one on. True if this one gives a sample.
  bool add(const RecordedCall& call);

  /// The last sample's row of a motion file, and the line above the first.
  std::string row() const;
  static std::string header(const RecordingFile& recording);

 private:
  std::uint32_t object_;
  QZ::Math::Transform root_;
  std::vector<float> joints_;
  bool is_new_ = false;  ///< since the last sample
  double time_ = -1;
};

}  // namespace korvel::host
