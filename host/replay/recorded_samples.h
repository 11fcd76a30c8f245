#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/replay/player.h"
#include "host/replay/recorded_motion.h"

namespace korvel::host {

/// The samples of a motion with what the object makes of them, as lines of numbers: nanoseconds since 1970; of all
/// joints the positions, the velocities, and the torques, which are NaN unless the host had them computed for the
/// sample; the centre of mass and the poses of all bodies in the world, a pose as position and quaternion, whose real
/// part is last.
class RecordedSamples {
 public:
  using Take = std::function<void(const std::string& line)>;

  /// Of the samples from then on [s]. Throws Error as Player does.
  RecordedSamples(const RecordingFile& recording, std::uint32_t object, const Module& module, double from, Take take);

  /// Performs the calls, from the first one on. A sample is complete when the next one begins.
  void add(const RecordedCall& call);
  /// The last sample is complete, too.
  void end();

  std::size_t count() const { return count_; }
  /// Places at which calls are missing.
  std::size_t gaps() const { return player_.gaps(); }

 private:
  struct Sample {
    std::int64_t time;  ///< [ns]
    std::vector<float> positions, velocities, torques;
    std::string places;
  };

  Sample sample(double time) const;

  std::uint32_t object_;
  double from_;
  Take take_;
  std::int64_t start_;  ///< [ns]
  RecordedMotion motion_;
  Player player_;
  std::optional<Sample> last_;
  std::size_t count_ = 0;
};

}  // namespace korvel::host
