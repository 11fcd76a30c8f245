#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/replay/player.h"
#include "host/replay/recorded_motion.h"

namespace korvel::host {

/// A sample of a recorded motion.
struct RecordedSample {
  double time;  ///< since the recording began [s]
  /// The object as the host had set it, its rates and wrenches too, with kinematics and inverse dynamics computed.
  System robot;
  bool has_torques;  ///< the host had them computed itself, with all that they depend on
};

/// Takes the samples of an object's motion, as RecordedMotion has them, out of its calls.
class RecordedSamples {
 public:
  using Take = std::function<void(const RecordedSample&)>;

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
  RecordedSample sample(double time, bool has_torques) const;

  std::uint32_t object_;
  double from_;
  Take take_;
  RecordedMotion motion_;
  Player player_;
  std::optional<RecordedSample> last_;
  std::size_t count_ = 0;
};

/// As a line of numbers: nanoseconds since 1970; of all joints the positions, the velocities, and the torques, which
/// are NaN unless the host had them computed; the centre of mass and the poses of all bodies in the world, a pose as
/// position and quaternion, whose real part is last. `start` is when the recording began, likewise.
std::string line_of_numbers(const RecordedSample& sample, std::int64_t start);

}  // namespace korvel::host
