#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "contract/enum_set.h"
#include "contract/robot_size.h"

namespace korvel {

/// The results that an object shows, in the order in which they are read. The last five are inputs that can be read
/// back.
enum class Result {
  poses,
  poses_in_root,
  volatile_poses,
  com,
  com_in_root,
  jacobian,
  mass_matrix,
  torques,
  root_velocity,
  root_acceleration,
  positions,
  velocities,
  accelerations
};

/// The stages that write results; computeFwdKinematics is the first two. Setters write all other results.
enum class Stage { except_root, only_root, generalized_mass, inverse_dynamics, none };
using Stages = EnumSet<Stage>;

/// One result: pieces of equal length, such as the poses of all bodies or the columns of a matrix.
struct ResultEntry {
  Result result;
  const char* number;  ///< one of its numbers in words, as a format: {0} is the number's place in piece {1}
  Count pieces;
  Count length;  ///< of a piece
  Stage written_by;
  int constant_pieces;  ///< the first ones, which no computation writes
  void (*read)(const tesk::RigidBodySystem&, float* to);

  int numbers(const RobotSize& size) const { return pieces(size) * length(size); }
};

/// All of them: what is said of results anywhere is derived from here.
extern const std::array<ResultEntry, 13> all_results;

inline const ResultEntry& entry(Result result) { return all_results[static_cast<std::size_t>(result)]; }

/// Returns how many numbers the results of these stages have.
int shown_numbers(Stages stages, const RobotSize& size) noexcept;
/// Reads the results of these stages, one after the other.
void read_shown(const tesk::RigidBodySystem& robot, Stages stages, const RobotSize& size, float* to) noexcept;

/// Results that these stages write.
std::vector<Result> written_by(Stages stages);

/// Places in the list of all numbers that an object shows.
struct Stretch {
  std::ptrdiff_t first, last;
};

/// The places of a robot's results in that list.
class Layout {
 public:
  explicit Layout(const RobotSize& size);

  const Stretch& operator[](Result result) const { return stretches_[static_cast<std::size_t>(result)]; }
  /// Numbers in one piece.
  std::ptrdiff_t length(Result result) const { return entry(result).length(size_); }
  /// Numbers in all results.
  std::ptrdiff_t size() const { return stretches_.back().last; }
  /// The results that these stages write.
  std::vector<Stretch> written_by(Stages stages) const;

 private:
  RobotSize size_;
  std::array<Stretch, std::tuple_size_v<decltype(all_results)>> stretches_;
};

/// All that an object shows.
std::vector<float> everything_readable(const tesk::RigidBodySystem& robot);
/// The same into a vector that may be used again and again.
void read_everything(const tesk::RigidBodySystem& robot, std::vector<float>& all);

/// Equal to the last bit, signs of zeros included.
bool same_bits(const std::vector<float>& a, const std::vector<float>& b);

}  // namespace korvel
