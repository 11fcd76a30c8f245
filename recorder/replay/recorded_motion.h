#pragma once

#include <Eigen/Core>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "recorder/replay/playback.h"
#include "recorder/replay/player.h"

namespace korvel::host {

/// Turns the positions that an object was set to into a motion with a row for every computation.
///
/// Computations of different kinds with the same positions are one row: kinematics and dynamics of one control cycle.
/// A computation that the row has already, or one with other positions or inertias, begins the next row. The time of a
/// row is that of its inverse dynamics, so that torques are where they were computed, else that of its first
/// computation.
class RecordedMotion {
 public:
  RecordedMotion(const RecordingFile& recording, std::uint32_t object)
      : object_(object), joints_(recording.joints().size()) {}

  enum class Row { unchanged, begun, extended };
  /// Follows the calls from the first one on. Says what the call does to the last row.
  Row add(const RecordedCall& call);

  /// The time of the last row [s].
  double time() const { return time_; }
  /// The last row as it is in a motion file, and the line above the first one.
  std::string row() const;
  static std::string header(const RecordingFile& recording);

 private:
  std::uint32_t object_;
  QZ::Math::Transform root_;
  std::vector<float> joints_;
  Resources computed_;                                       ///< what the last row has
  bool root_has_moved_ = false, joints_have_moved_ = false;  ///< since its last computation
  double time_ = -1;
};

/// Pairs a body with the force [N] and the moment [N m] on it.
using BodyWrenches = std::vector<std::pair<unsigned long, Eigen::Matrix<double, 6, 1>>>;

/// An operation and where it was called.
struct NamedCall {
  const char* operation;
  CallPosition at;
};

/// A sample of a recorded motion.
struct RecordedSample {
  double time;  ///< since the recording began [s]
  /// The object as the host had set it, its rates and wrenches too, with kinematics and inverse dynamics computed.
  System robot;
  bool has_torques;  ///< the host had them computed itself, with all that they depend on
  /// The wrenches that the host had set, about the bodies' origins in the axes of the world.
  BodyWrenches wrenches;
  /// The call that explains NaN or infinity: the first of those that set such inputs, or else the computation.
  NamedCall brought_by;
};

/// Takes the samples of an object's motion, as RecordedMotion has them, out of its calls.
class RecordedSamples {
 public:
  using Take = std::function<void(const RecordedSample&)>;

  /// Hands over the samples in a window, each with the wrenches of the bodies that get one. Throws Error as Player
  /// does.
  RecordedSamples(const RecordingFile& recording, std::uint32_t object, const Module& module, const Window& window,
                  Take take);

  /// Performs the calls, from the first one on. A sample is complete when the next one begins.
  void add(const RecordedCall& call);
  /// The last sample is complete, too.
  void end();

  std::size_t count() const { return count_; }
  /// Returns the number of gaps in the calls.
  std::size_t gaps() const { return player_.gaps(); }

 private:
  RecordedSample sample(const RecordedCall& call) const;
  /// Finds the bodies that get a wrench.
  void find_bodies(const RecordingFile& recording, const Window& window);
  /// Keeps the wrench that a call sets on one of them, and the call while it explains inputs that are not finite.
  void keep_inputs(const RecordedCall& call);

  std::uint32_t object_;
  RobotSize size_;
  double from_;
  Take take_;
  RecordedMotion motion_;
  Player player_;
  BodyWrenches wrenches_;  ///< in the axes of the bodies
  /// The calls that set inputs that are not finite, by input and body or joint.
  std::map<std::pair<Resource, std::uint64_t>, NamedCall> set_by_;
  std::optional<RecordedSample> last_;
  std::size_t count_ = 0;
};

}  // namespace korvel::host
