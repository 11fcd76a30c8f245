#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <vector>

#include "states/states.h"

namespace korvel {

/// What an object shows, in the order in which it is read. The last five are inputs that read back.
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

/// What writes results; computeFwdKinematics is the first two. What no stage writes, setters write.
enum class Stage { except_root, only_root, generalized_mass, inverse_dynamics, none };

/// One result: pieces of equal length, such as the poses of all bodies or the columns of a matrix.
struct ResultEntry {
  Result result;
  const char* piece;   ///< in words, to be followed by its index
  const char* number;  ///< one of its numbers in words, as a format: {0} is the number's place in piece {1}
  int (*pieces)(const RobotSize&);
  int (*length)(const RobotSize&);
  Stage written_by;
  int constant_pieces;  ///< the first ones, which no computation writes
  void (*read)(const tesk::RigidBodySystem&, float* to);
};

/// All of them: what is said of results anywhere is derived from here.
extern const std::array<ResultEntry, 13> all_results;

inline const ResultEntry& entry(Result result) { return all_results[static_cast<std::size_t>(result)]; }

/// Results that these stages write.
std::vector<Result> written_by(std::initializer_list<Stage> stages);

/// Places in the list of all numbers that an object shows.
struct Stretch {
  std::ptrdiff_t first, last;
};

/// Where the results of a robot stand in that list.
class Layout {
 public:
  explicit Layout(const RobotSize& size);

  const Stretch& operator[](Result result) const { return stretches_[static_cast<std::size_t>(result)]; }
  /// Of a piece.
  std::ptrdiff_t length(Result result) const { return entry(result).length(size_); }
  /// Of all results.
  std::ptrdiff_t size() const { return stretches_.back().last; }
  /// What these stages write.
  std::vector<Stretch> written_by(std::initializer_list<Stage> stages) const;

 private:
  RobotSize size_;
  std::array<Stretch, std::tuple_size_v<decltype(all_results)>> stretches_;
};

/// All that an object shows.
std::vector<float> everything_readable(const tesk::RigidBodySystem& robot);
/// The same into a vector that may be used again and again.
void read_everything(const tesk::RigidBodySystem& robot, std::vector<float>& all);

/// All that an object shows after each of these states.
std::vector<float> everything_after_each(const std::vector<State>& states, tesk::RigidBodySystem& robot);

/// Equal to the last bit, signs of zeros included.
bool same_bits(const std::vector<float>& a, const std::vector<float>& b);

}  // namespace korvel
