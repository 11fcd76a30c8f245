#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <vector>

#include "contract/robot_size.h"

namespace korvel {

/// A set of values of an enumeration, which are smaller than 32.
template <typename Kind>
class EnumSet {
 public:
  constexpr EnumSet() = default;
  constexpr EnumSet(std::initializer_list<Kind> kinds) {
    for (const Kind kind : kinds) bits_ |= bit(kind);
  }

  constexpr bool has(Kind kind) const { return (bits_ & bit(kind)) != 0; }
  constexpr bool empty() const { return bits_ == 0; }
  /// Returns the smallest value of a set that is not empty.
  constexpr Kind first() const {
    unsigned kind = 0;
    while ((bits_ >> kind & 1U) == 0) ++kind;
    return static_cast<Kind>(kind);
  }
  constexpr bool meets(EnumSet other) const { return (bits_ & other.bits_) != 0; }

  friend constexpr EnumSet operator|(EnumSet a, EnumSet b) {
    a.bits_ |= b.bits_;
    return a;
  }
  friend constexpr EnumSet operator&(EnumSet a, EnumSet b) {
    a.bits_ &= b.bits_;
    return a;
  }
  friend constexpr bool operator==(EnumSet a, EnumSet b) { return a.bits_ == b.bits_; }

  /// Calls `visit` with each value, the smallest first.
  template <typename Visit>
  constexpr void for_each(const Visit& visit) const {
    for (unsigned kind = 0; bits_ >> kind != 0; ++kind) {
      if ((bits_ >> kind & 1U) != 0) visit(static_cast<Kind>(kind));
    }
  }

 private:
  static constexpr unsigned bit(Kind kind) { return 1U << static_cast<unsigned>(kind); }

  unsigned bits_ = 0;
};

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
