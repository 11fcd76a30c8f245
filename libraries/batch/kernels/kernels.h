#pragma once

/// Declares what one instruction set computes for a stretch of states. Everything here is compiled for the baseline and
/// has no code, because the files of an instruction set include it, and none of their code may serve another set.

#include <array>
#include <cstddef>
#include <cstdint>

#include "batch/korvel/batch.h"
#include "metapod/models/korvel/robot.h"
#include "metapod/models/mass.h"
#include "metapod/models/topology.h"

namespace korvel::batch {

inline constexpr int body_count = metapod::models::body_count<metapod::models::KorvelRobot>;
inline constexpr int coordinate_count = metapod::models::dof_count_of<metapod::models::KorvelRobot>();

/// A matrix of motions and a matrix over coordinates have so many entries.
inline constexpr int jacobian_numbers = 6 * coordinate_count;
inline constexpr int matrix_numbers = coordinate_count * coordinate_count;

/// Stretches begin at multiples of this, which every number of lanes divides; so do tiles.
inline constexpr std::ptrdiff_t tile_size = 16;

/// Number k of state s stands at data[s / 16 * tile + s % 16 * state + k * number]. Without data nothing is wanted.
template <typename Float>
struct NumbersOf {
  Float* data;
  std::ptrdiff_t state;
  std::ptrdiff_t number;
  std::ptrdiff_t tile;

  Float* of_state(std::ptrdiff_t s) const noexcept { return data + s / tile_size * tile + s % tile_size * state; }
};
using Input = NumbersOf<const float>;
using Output = NumbersOf<float>;

/// States first to last - 1.
struct Stretch {
  std::ptrdiff_t first, last;
};

/// Mass properties of all bodies, and their sum.
struct Masses {
  std::array<metapod::models::MassT<float>, static_cast<std::size_t>(body_count)> of_body;
  float total;
  const float* armature;  ///< of a call that adds rotor inertias: one for each joint [kg m^2]
};

/// A wrench on one body: force, then moment.
struct Wrench {
  int body;
  Input values;
};

struct GroundTable;

/// The states of a motion, argument by argument; without data where an operation does not take one. Without
/// accelerations they are zero.
struct MotionInput {
  Input q, dq, ddq;
  Input of_forces;  ///< a number for each force: its weight, or the force that moves the robot
  const Wrench* wrenches;
  int wrench_count;
  const GroundTable* ground;
};

/// Each state has 300 numbers of poses, the rows of [R | t] of one body after the other, three of a centre of mass, and
/// 180 of a jacobian, row by row.
struct KinematicsResults {
  Output poses_root, poses_world, com_root, com_world, jacobian;
};

struct MassResults {
  Output packed, dense;
};

struct DynamicsResults {
  Output forces;
  korvel_batch_force_sums* sums;  ///< those of the stretch; null if they are not wanted
};

/// Forces and their derivatives: each entry that can differ from zero once, or all entries row by row.
struct DerivativeResults {
  Output forces, position_packed, velocity_packed, position, velocity;
};

struct GradientResults {
  Output forces, by_position, by_velocity, by_acceleration;
};

struct ForwardResults {
  Output accelerations, residual;
};

struct MomentumResults {
  Output matrix, momentum, rate, bias;
};

/// A point that is fixed in a body, and its results.
struct Point {
  int body;
  const float* place;
  Output jacobian, bias;
};
struct PointResults {
  const Point* first;
  int count;
};

/// The outputs of korvel_batch_stand_results.
struct StandResults {
  Output forces, loads, pressure, zmp, zmp_margin, residual, verdict;
  korvel_batch_stand_sums* sums;  ///< those of the stretch; null if they are not wanted
};

/// An operation for one instruction set: it computes the results of a stretch of states.
template <typename Results>
using Kernel = void (*)(const Masses&, const Stretch&, const MotionInput&, const Results&);

struct KernelSet {
  int lanes;
  Kernel<KinematicsResults> kinematics;
  Kernel<MassResults> mass;
  Kernel<DynamicsResults> dynamics;
  Kernel<DerivativeResults> derivatives;
  Kernel<GradientResults> gradient;
  Kernel<ForwardResults> forward_dynamics;
  Kernel<MomentumResults> momentum;
  Kernel<PointResults> points;
  Kernel<StandResults> stand;  ///< allocates, and throws if there is no memory
};

/// The root's three angles and those of all joints.
inline constexpr int first_angle = metapod::FreeFlyerBodyJoint::first_angle;
inline constexpr int first_joint = metapod::FreeFlyerBodyJoint::dof;
inline constexpr int sine_count = coordinate_count - first_angle;

/// Computes sines and cosines of sine_count * lanes consecutive angles.
template <int lanes>
void take_sines(const float* angles, float* sines, float* cosines) noexcept;

/// The one with that many lanes: 4 for the baseline, 8 for AVX2 with FMA, 16 for AVX-512.
template <int lanes>
const KernelSet& kernel_set() noexcept;

}  // namespace korvel::batch
