#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>

#include "batch/arguments.h"
#include "batch/instruction_sets.h"
#include "batch/kernels/mass_entries.h"
#include "batch/refusal.h"
#include "batch/rows_in_order.h"
#include "batch/standing.h"
#include "batch/threads.h"

using namespace korvel::batch;

static_assert(KORVEL_BATCH_BODIES == body_count && KORVEL_BATCH_COORDINATES == coordinate_count &&
              KORVEL_BATCH_MASS_ENTRIES == mass_entry_count && KORVEL_BATCH_TILE == tile_size);

struct korvel_batch {
  ChosenSet set;
  Threads threads;
  Masses masses;
};

namespace {

using Robot = metapod::models::KorvelRobot;
using metapod::Spatial::Inertia;

constexpr int most_threads = 1024;
constexpr int pose_numbers = 12 * body_count;
constexpr int jacobian_numbers = 6 * coordinate_count;
constexpr int matrix_numbers = coordinate_count * coordinate_count;

/// As the module's table and total are when it is loaded.
Masses robot_masses() noexcept {
  Masses masses{};
  for (std::size_t b = 0; b < masses.of_body.size(); ++b) {
    const Inertia& inertia = Robot::bodies[b].inertia;
    masses.of_body[b] = {inertia, inertia.center_of_mass()};
    masses.total += inertia.m;
  }
  return masses;
}

const korvel_batch& checked(const korvel_batch* batch) {
  if (batch == nullptr) throw Refusal{KORVEL_BATCH_NULL, "batch is null"};
  return *batch;
}

void require_finite(const float* values, int count, const char* name) {
  if (values == nullptr) throw Refusal{KORVEL_BATCH_NULL, std::string(name) + " is null"};
  for (int i = 0; i < count; ++i) {
    if (!std::isfinite(values[i])) throw Refusal{KORVEL_BATCH_VALUE, std::string(name) + " is not finite"};
  }
}

/// Sums over a stretch, and their sums.
struct FoldedSums {
  std::uint32_t largest[coordinate_count];
  double squares[coordinate_count];

  friend FoldedSums operator+(const FoldedSums& a, const FoldedSums& b) noexcept {
    FoldedSums sum{};
    for (int d = 0; d < coordinate_count; ++d) {
      sum.largest[d] = std::max(a.largest[d], b.largest[d]);
      sum.squares[d] = a.squares[d] + b.squares[d];
    }
    return sum;
  }
};

FoldedSums folded(const ForceSums& sums) noexcept {
  FoldedSums result{};
  for (int d = 0; d < coordinate_count; ++d) {
    for (std::ptrdiff_t place = 0; place < tile_size; ++place) {
      result.largest[d] = std::max(result.largest[d], sums.largest[d][place]);
      result.squares[d] += sums.squares[d][place];
    }
  }
  return result;
}

/// Sums over a stretch of states on the ground.
struct FoldedStandSums {
  FoldedSums forces;
  float least_margin = std::numeric_limits<float>::infinity();
  std::ptrdiff_t unbearable;

  friend FoldedStandSums operator+(const FoldedStandSums& a, const FoldedStandSums& b) noexcept {
    const bool is_a = std::isnan(a.least_margin) || a.least_margin < b.least_margin;
    return {a.forces + b.forces, is_a ? a.least_margin : b.least_margin, a.unbearable + b.unbearable};
  }
};

korvel_batch_force_sums as_contract_has_it(const FoldedSums& total) noexcept {
  korvel_batch_force_sums sums;
  std::memcpy(sums.largest, total.largest, sizeof total.largest);
  std::copy_n(total.squares, coordinate_count, sums.squares);
  return sums;
}

}  // namespace

int korvel_batch_create(korvel_batch** batch, int threads, const char* instruction_set) {
  return status_of([&] {
    if (batch == nullptr) throw Refusal{KORVEL_BATCH_NULL, "batch is null"};
    if (threads < 0 || threads > most_threads) {
      throw Refusal{KORVEL_BATCH_COUNT,
                    "threads is " + std::to_string(threads) + ": there may be up to " + std::to_string(most_threads)};
    }
    *batch = new korvel_batch{ChosenSet(instruction_set), Threads(threads), robot_masses()};
  });
}

void korvel_batch_destroy(korvel_batch* batch) { delete batch; }

const char* korvel_batch_instruction_set(const korvel_batch* batch) {
  return batch == nullptr ? nullptr : batch->set.name();
}

int korvel_batch_threads(const korvel_batch* batch) { return batch == nullptr ? 0 : batch->threads.count(); }

int korvel_batch_set_inertia(korvel_batch* batch, int body, float mass, const float* com, const float* inertia) {
  return status_of([&] {
    checked(batch);
    require_body(body);
    require_finite(&mass, 1, "mass");
    if (!(mass > 0)) throw Refusal{KORVEL_BATCH_VALUE, "mass is not above zero"};
    require_finite(com, 3, "com");
    require_finite(inertia, 6, "inertia");
    auto& [table, total] = batch->masses;
    auto& of_body = table[static_cast<std::size_t>(body)];
    total = (mass - of_body.inertia.m) + total;
    of_body.inertia = Inertia::from_center_of_mass(
        mass, {com[0], com[1], com[2]}, {inertia[0], inertia[1], inertia[2], inertia[3], inertia[4], inertia[5]});
    of_body.center_of_mass = of_body.inertia.center_of_mass();
  });
}

const char* korvel_batch_body_name(int body) {
  return body < 0 || body >= body_count ? nullptr : Robot::bodies[body].name;
}

int korvel_batch_parent(int body) { return body < 0 || body >= body_count ? -2 : Robot::bodies[body].parent; }

int korvel_batch_mass_entry(int entry, int* row, int* column) {
  return status_of([&] {
    if (entry < 0 || entry >= mass_entry_count) {
      throw Refusal{KORVEL_BATCH_COUNT, "no entry " + std::to_string(entry) + ": they are numbered from 0 to " +
                                            std::to_string(mass_entry_count - 1)};
    }
    if (row == nullptr || column == nullptr) throw Refusal{KORVEL_BATCH_NULL, "row or column is null"};
    const MassEntry& found = mass_entries[static_cast<std::size_t>(entry)];
    *row = found.row;
    *column = found.column;
  });
}

int korvel_batch_kinematics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                            const korvel_batch_kinematics_results* results) {
  return status_of([&] {
    const auto& [set, threads, masses] = checked(batch);
    require_count(n);
    const Input positions = checked_input(q, "q", n, coordinate_count);
    if (results == nullptr) throw Refusal{KORVEL_BATCH_NULL, "results is null"};
    const KinematicsResults wanted{checked_output(&results->poses_root, "poses_root", n, pose_numbers),
                                   checked_output(&results->poses_world, "poses_world", n, pose_numbers),
                                   checked_output(&results->com_root, "com_root", n, 3),
                                   checked_output(&results->com_world, "com_world", n, 3),
                                   checked_output(&results->jacobian, "jacobian", n, jacobian_numbers)};
    if (wanted.poses_root.data == nullptr && wanted.poses_world.data == nullptr && wanted.com_root.data == nullptr &&
        wanted.com_world.data == nullptr && wanted.jacobian.data == nullptr) {
      throw Refusal{KORVEL_BATCH_NULL, "no result is wanted: none has data"};
    }
    const KernelSet& kernels = set.kernels(n);
    const auto compute = [&kernels, &masses = masses, &positions, &wanted](const Stretch& states) {
      kernels.kinematics(masses, states, positions, wanted);
    };
    const auto compute_in_order = [&kernels, &masses = masses, &positions, &wanted](const Stretch& states) {
      for_each_tile(states, [&](const Stretch& tile) {
        RowsInOrder<pose_numbers> poses_root(wanted.poses_root, tile);
        RowsInOrder<pose_numbers> poses_world(wanted.poses_world, tile);
        RowsInOrder<jacobian_numbers> jacobian(wanted.jacobian, tile);
        kernels.kinematics(masses, {0, tile.last - tile.first}, from(positions, tile.first),
                           {poses_root.room(), poses_world.room(), from(wanted.com_root, tile.first),
                            from(wanted.com_world, tile.first), jacobian.room()});
        poses_root.copy();
        poses_world.copy();
        jacobian.copy();
      });
    };
    if (is_beyond_caches(n, {{&wanted.poses_root, pose_numbers},
                             {&wanted.poses_world, pose_numbers},
                             {&wanted.jacobian, jacobian_numbers}})) {
      threads.for_each_stretch(n, compute_in_order);
    } else {
      threads.for_each_stretch(n, compute);
    }
  });
}

int korvel_batch_mass(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                      const korvel_batch_output* packed, const korvel_batch_output* dense) {
  return status_of([&] {
    const auto& [set, threads, masses] = checked(batch);
    require_count(n);
    const Input positions = checked_input(q, "q", n, coordinate_count);
    const Output entries = checked_output(packed, "packed", n, mass_entry_count);
    const Output matrices = checked_output(dense, "dense", n, matrix_numbers);
    if (entries.data == nullptr && matrices.data == nullptr) {
      throw Refusal{KORVEL_BATCH_NULL, "no result is wanted: neither packed nor dense has data"};
    }
    const KernelSet& kernels = set.kernels(n);
    const auto compute = [&kernels, &masses = masses, &positions, &entries, &matrices](const Stretch& states) {
      kernels.mass(masses, states, positions, entries, matrices);
    };
    const auto compute_in_order = [&kernels, &masses = masses, &positions, &entries, &matrices](const Stretch& states) {
      for_each_tile(states, [&](const Stretch& tile) {
        RowsInOrder<mass_entry_count> packed_rows(entries, tile);
        kernels.mass(masses, {0, tile.last - tile.first}, from(positions, tile.first), packed_rows.room(),
                     from(matrices, tile.first));
        packed_rows.copy();
      });
    };
    // Dense matrices have so many numbers that their rows are written well as they are.
    if (is_beyond_caches(n, {{&entries, mass_entry_count}})) {
      threads.for_each_stretch(n, compute_in_order);
    } else {
      threads.for_each_stretch(n, compute);
    }
  });
}

int korvel_batch_dynamics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                          const korvel_batch_input* dq, const korvel_batch_input* ddq,
                          const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count,
                          const korvel_batch_output* forces, korvel_batch_force_sums* sums) {
  return status_of([&] {
    const korvel_batch& b = checked(batch);
    require_count(n);
    const Input positions = checked_input(q, "q", n, coordinate_count);
    const Input velocities = checked_input(dq, "dq", n, coordinate_count);
    const Input accelerations = checked_input(ddq, "ddq", n, coordinate_count);
    const std::vector<Wrench> loads = checked_wrenches(wrenches, wrench_count, n);
    const Output wanted = checked_output(forces, "forces", n, coordinate_count);
    if (wanted.data == nullptr && sums == nullptr) {
      throw Refusal{KORVEL_BATCH_NULL, "no result is wanted: forces has no data, sums is null"};
    }
    const KernelSet& kernels = b.set.kernels(n);
    const auto compute = [&](const Stretch& states, ForceSums* into) {
      kernels.dynamics(b.masses, states, positions, velocities, accelerations,
                       {loads.data(), static_cast<int>(loads.size())}, wanted, into);
    };
    if (sums == nullptr) {
      b.threads.for_each_stretch(n, [&](const Stretch& states) { compute(states, nullptr); });
      return;
    }
    const auto total = b.threads.sum<FoldedSums>(n, [&](const Stretch& states) {
      ForceSums of_stretch{};
      compute(states, &of_stretch);
      return folded(of_stretch);
    });
    *sums = as_contract_has_it(total);
  });
}

int korvel_batch_stand(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                       const korvel_batch_input* dq, const korvel_batch_input* ddq, const korvel_batch_ground* ground,
                       const korvel_batch_stand_results* results, korvel_batch_stand_sums* sums) {
  return status_of([&] {
    const korvel_batch& b = checked(batch);
    require_count(n);
    const Motion motion{checked_input(q, "q", n, coordinate_count), checked_input(dq, "dq", n, coordinate_count),
                        checked_input(ddq, "ddq", n, coordinate_count)};
    const std::shared_ptr<const Ground> stood_on = checked_ground(ground, n);
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
    const Output* const all[]{&wanted.forces,     &wanted.loads,    &wanted.pressure, &wanted.zmp,
                              &wanted.zmp_margin, &wanted.residual, &wanted.verdict};
    if (sums == nullptr && std::all_of(std::begin(all), std::end(all), [](auto* o) { return o->data == nullptr; })) {
      throw Refusal{KORVEL_BATCH_NULL, "no result is wanted: none has data, sums is null"};
    }
    // A state takes some fifty times as long as others do.
    constexpr std::ptrdiff_t worth = 2 * tile_size;
    // Each asks for the mass matrices of many more.
    const KernelSet& kernels = b.set.kernels(tile_size);
    if (sums == nullptr) {
      b.threads.for_each_stretch(
          n, [&](const Stretch& states) { stand(kernels, b.masses, states, motion, *stood_on, wanted, nullptr); },
          worth);
      return;
    }
    const auto total = b.threads.sum<FoldedStandSums>(
        n,
        [&](const Stretch& states) {
          StandSums of_stretch{{}, std::numeric_limits<float>::infinity(), 0};
          stand(kernels, b.masses, states, motion, *stood_on, wanted, &of_stretch);
          return FoldedStandSums{folded(of_stretch.forces), of_stretch.least_margin, of_stretch.unbearable};
        },
        worth);
    *sums = {as_contract_has_it(total.forces), total.least_margin, total.unbearable};
  });
}
