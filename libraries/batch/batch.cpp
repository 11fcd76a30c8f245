#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <numeric>

#include "batch/kernels/mass_entries.h"
#include "batch/object.h"
#include "batch/rows_in_order.h"
#include "batch/standing.h"

using namespace korvel::batch;

static_assert(KORVEL_BATCH_BODIES == body_count && KORVEL_BATCH_COORDINATES == coordinate_count &&
              KORVEL_BATCH_MASS_ENTRIES == mass_entry_count && KORVEL_BATCH_TILE == tile_size);

namespace {

using Robot = metapod::models::KorvelRobot;

constexpr int most_threads = 1024;
constexpr int pose_size = 12;
constexpr int pose_numbers = pose_size * body_count;
constexpr int jacobian_numbers = 6 * coordinate_count;
constexpr int matrix_numbers = coordinate_count * coordinate_count;

/// The numbers of the bodies whose poses are wanted; empty for all.
std::vector<int> checked_bodies(const korvel_batch_kinematics_results& results) {
  if (results.bodies == nullptr) return {};
  if (results.body_count < 1 || results.body_count > body_count) {
    refuse(KORVEL_BATCH_COUNT, "body_count is ", results.body_count, ": there may be 1 to ", body_count, " bodies");
  }
  std::vector<int> bodies(results.bodies, results.bodies + results.body_count);
  std::for_each(bodies.begin(), bodies.end(), require_body);
  return bodies;
}

/// The poses of all bodies in a tile of states, of which some are wanted.
struct PosesOfTile {
  Output all() noexcept { return {numbers, pose_numbers, 1, 0}; }
  void copy(const std::vector<int>& bodies, const Output& to, const Stretch& tile) const noexcept {
    if (!has_data(to)) return;
    for (std::ptrdiff_t s = tile.first; s < tile.last; ++s) {
      float* number = to.of_state(s);
      for (const int body : bodies) {
        const float* pose = &numbers[(s - tile.first) * pose_numbers + pose_size * body];
        for (int k = 0; k < pose_size; ++k, number += to.number) *number = pose[k];
      }
    }
  }

  alignas(64) float numbers[static_cast<std::size_t>(tile_size * pose_numbers)];
};

/// The sums over a stretch, which add up.
struct FoldedSums : korvel_batch_force_sums {
  friend FoldedSums operator+(FoldedSums a, const FoldedSums& b) noexcept {
    for (int d = 0; d < coordinate_count; ++d) {
      if (std::isnan(b.largest[d]) || a.largest[d] < b.largest[d]) a.largest[d] = b.largest[d];
      a.squares[d] += b.squares[d];
    }
    return a;
  }
};

FoldedSums folded(const ForceSums& sums) noexcept {
  FoldedSums result{};
  for (int d = 0; d < coordinate_count; ++d) {
    // The bits are ordered like the magnitudes.
    const auto* largest = std::max_element(std::begin(sums.largest[d]), std::end(sums.largest[d]));
    std::memcpy(&result.largest[d], largest, sizeof *largest);
    result.squares[d] = std::accumulate(std::begin(sums.squares[d]), std::end(sums.squares[d]), 0.0);
  }
  return result;
}

/// The sums over a stretch of states on the ground.
struct FoldedStandSums {
  FoldedSums forces;
  float least_margin = std::numeric_limits<float>::infinity();
  std::ptrdiff_t unbearable;

  friend FoldedStandSums operator+(const FoldedStandSums& a, const FoldedStandSums& b) noexcept {
    const bool is_a = std::isnan(a.least_margin) || a.least_margin < b.least_margin;
    return {a.forces + b.forces, is_a ? a.least_margin : b.least_margin, a.unbearable + b.unbearable};
  }
};

}  // namespace

int korvel_batch_create(korvel_batch** batch, int threads, const char* instruction_set) {
  return status_of([&] {
    require_pointer(batch, "batch");
    if (threads < 0 || threads > most_threads) {
      refuse(KORVEL_BATCH_COUNT, "threads is ", threads, ": there may be up to ", most_threads);
    }
    *batch = new korvel_batch{ChosenSet(instruction_set), Threads(threads), {}};
  });
}

void korvel_batch_destroy(korvel_batch* batch) { delete batch; }

const char* korvel_batch_instruction_set(const korvel_batch* batch) {
  return batch == nullptr ? nullptr : batch->set.name();
}

int korvel_batch_threads(const korvel_batch* batch) { return batch == nullptr ? 0 : batch->threads.count(); }

int korvel_batch_set_inertia(korvel_batch* batch, int body, float mass, const float* com, const float* inertia) {
  return status_of([&] { checked(batch).masses.set_one(body, mass, com, inertia); });
}

int korvel_batch_get_inertias(const korvel_batch* batch, float* numbers) {
  return status_of([&] { checked(batch).masses.copy_to(numbers); });
}

int korvel_batch_set_inertias(korvel_batch* batch, const float* numbers) {
  return status_of([&] { checked(batch).masses.set_all(numbers); });
}

const char* korvel_batch_version(void) { return KORVEL_VERSION; }

const char* korvel_batch_body_name(int body) {
  return body < 0 || body >= body_count ? nullptr : Robot::bodies[body].name;
}

int korvel_batch_parent(int body) { return body < 0 || body >= body_count ? -2 : Robot::bodies[body].parent; }

int korvel_batch_mass_entry(int entry, int* row, int* column) {
  return status_of([&] {
    if (entry < 0 || entry >= mass_entry_count) {
      refuse(KORVEL_BATCH_COUNT, "no entry ", entry, ": they are numbered from 0 to ", mass_entry_count - 1);
    }
    if (row == nullptr || column == nullptr) refuse(KORVEL_BATCH_NULL, "row or column is null");
    const MassEntry& found = mass_entries[static_cast<std::size_t>(entry)];
    *row = found.row;
    *column = found.column;
  });
}

int korvel_batch_kinematics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                            const korvel_batch_kinematics_results* results) {
  return status_of([&] {
    const Call call(batch, n, q);
    require_pointer(results, "results");
    const std::vector<int> bodies = checked_bodies(*results);
    const int numbers = bodies.empty() ? pose_numbers : pose_size * static_cast<int>(bodies.size());
    const KinematicsResults wanted{checked_output(&results->poses_root, "poses_root", n, numbers),
                                   checked_output(&results->poses_world, "poses_world", n, numbers),
                                   checked_output(&results->com_root, "com_root", n, 3),
                                   checked_output(&results->com_world, "com_world", n, 3),
                                   checked_output(&results->jacobian, "jacobian", n, jacobian_numbers)};
    require_a_result(wanted.poses_root, wanted.poses_world, wanted.com_root, wanted.com_world, wanted.jacobian);
    const KernelSet& kernels = call.kernels();
    if (!bodies.empty()) {
      batch->threads.for_each_stretch(n, [&](const Stretch& states) {
        for_each_tile(states, [&](const Stretch& tile) {
          PosesOfTile poses_root, poses_world;
          kernels.kinematics(
              *call.masses, {0, tile.last - tile.first}, from(call.positions, tile.first),
              {has_data(wanted.poses_root) ? poses_root.all() : Output{},
               has_data(wanted.poses_world) ? poses_world.all() : Output{}, from(wanted.com_root, tile.first),
               from(wanted.com_world, tile.first), from(wanted.jacobian, tile.first)});
          poses_root.copy(bodies, wanted.poses_root, tile);
          poses_world.copy(bodies, wanted.poses_world, tile);
        });
      });
      return;
    }
    const bool in_order = is_beyond_caches(n, {{&wanted.poses_root, pose_numbers},
                                               {&wanted.poses_world, pose_numbers},
                                               {&wanted.jacobian, jacobian_numbers}});
    batch->threads.for_each_stretch(n, [&](const Stretch& states) {
      if (!in_order) return kernels.kinematics(*call.masses, states, call.positions, wanted);
      for_each_tile(states, [&](const Stretch& tile) {
        RowsInOrder<pose_numbers> poses_root(wanted.poses_root, tile);
        RowsInOrder<pose_numbers> poses_world(wanted.poses_world, tile);
        RowsInOrder<jacobian_numbers> jacobian(wanted.jacobian, tile);
        kernels.kinematics(*call.masses, {0, tile.last - tile.first}, from(call.positions, tile.first),
                           {poses_root.room(), poses_world.room(), from(wanted.com_root, tile.first),
                            from(wanted.com_world, tile.first), jacobian.room()});
        poses_root.copy();
        poses_world.copy();
        jacobian.copy();
      });
    });
  });
}

int korvel_batch_mass(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q, const float* armature,
                      const korvel_batch_output* packed, const korvel_batch_output* dense) {
  return status_of([&] {
    const Call call(batch, n, q);
    const Masses masses = with_armature(*call.masses, armature);
    const Output entries = checked_output(packed, "packed", n, mass_entry_count);
    const Output matrices = checked_output(dense, "dense", n, matrix_numbers);
    require_a_result(entries, matrices);
    const KernelSet& kernels = call.kernels();
    // Dense matrices have so many numbers that their rows are written well as they are.
    const bool in_order = is_beyond_caches(n, {{&entries, mass_entry_count}});
    batch->threads.for_each_stretch(n, [&](const Stretch& states) {
      if (!in_order) return kernels.mass(masses, states, call.positions, entries, matrices);
      for_each_tile(states, [&](const Stretch& tile) {
        RowsInOrder<mass_entry_count> packed_rows(entries, tile);
        kernels.mass(masses, {0, tile.last - tile.first}, from(call.positions, tile.first), packed_rows.room(),
                     from(matrices, tile.first));
        packed_rows.copy();
      });
    });
  });
}

int korvel_batch_dynamics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                          const korvel_batch_input* dq, const korvel_batch_input* ddq,
                          const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count, const float* armature,
                          const korvel_batch_output* forces, korvel_batch_force_sums* sums) {
  return status_of([&] {
    const MovingCall call(batch, n, q, dq, wrenches, wrench_count);
    const Masses masses = with_armature(*call.masses, armature);
    const Input accelerations = checked_input(ddq, "ddq", n, coordinate_count);
    const Output wanted = checked_output(forces, "forces", n, coordinate_count);
    if (sums == nullptr) require_a_result(wanted);
    const KernelSet& kernels = call.kernels();
    const auto compute = [&](const Stretch& states, ForceSums* into) {
      kernels.dynamics(masses, states, call.positions, call.velocities, accelerations, call.external(), wanted, into);
    };
    if (sums == nullptr) {
      batch->threads.for_each_stretch(n, [&](const Stretch& states) { compute(states, nullptr); });
      return;
    }
    *sums = batch->threads.sum<FoldedSums>(n, [&](const Stretch& states) {
      ForceSums of_stretch{};
      compute(states, &of_stretch);
      return folded(of_stretch);
    });
  });
}

int korvel_batch_stand(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                       const korvel_batch_input* dq, const korvel_batch_input* ddq, const korvel_batch_ground* ground,
                       const korvel_batch_stand_results* results, korvel_batch_stand_sums* sums) {
  return status_of([&] {
    const MovingCall call(batch, n, q, dq, nullptr, 0);
    const MotionInput motion{call.positions, call.velocities, checked_input(ddq, "ddq", n, coordinate_count)};
    const GroundTable table = checked_ground(ground, n);
    const int soles = static_cast<int>(ground->sole_count);
    const korvel_batch_stand_results none{};
    const korvel_batch_stand_results& r = results == nullptr ? none : *results;
    const StandResults wanted{checked_output(&r.forces, "forces", n, coordinate_count),
                              checked_output(&r.loads, "loads", n, 6 * soles),
                              checked_output(&r.pressure, "pressure", n, 2 * soles),
                              checked_output(&r.zmp, "zmp", n, 2),
                              checked_output(&r.zmp_margin, "zmp_margin", n, 1),
                              checked_output(&r.residual, "residual", n, 1),
                              checked_output(&r.verdict, "verdict", n, 1)};
    if (sums == nullptr) {
      require_a_result(wanted.forces, wanted.loads, wanted.pressure, wanted.zmp, wanted.zmp_margin, wanted.residual,
                       wanted.verdict);
    }
    // A state takes some ten times as long as others do.
    constexpr std::ptrdiff_t worth = 4 * tile_size;
    const KernelSet& kernels = call.kernels();
    if (sums == nullptr) {
      batch->threads.for_each_stretch(
          n, [&](const Stretch& states) { kernels.stand(*call.masses, states, motion, table, wanted, nullptr); },
          worth);
      return;
    }
    const auto total = batch->threads.sum<FoldedStandSums>(
        n,
        [&](const Stretch& states) {
          StandSums of_stretch{{}, std::numeric_limits<float>::infinity(), 0};
          kernels.stand(*call.masses, states, motion, table, wanted, &of_stretch);
          return FoldedStandSums{folded(of_stretch.forces), of_stretch.least_margin, of_stretch.unbearable};
        },
        worth);
    *sums = {total.forces, total.least_margin, total.unbearable};
  });
}
