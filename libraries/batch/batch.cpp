#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>

#include "batch/kernels/entries.h"
#include "batch/korvel/batch_dynamics.h"
#include "batch/object.h"
#include "batch/rows_in_order.h"

using namespace korvel::batch;

static_assert(KORVEL_BATCH_BODIES == body_count && KORVEL_BATCH_COORDINATES == coordinate_count &&
              KORVEL_BATCH_JOINTS == coordinate_count - first_joint && KORVEL_BATCH_TILE == tile_size &&
              KORVEL_BATCH_MASS_ENTRIES == mass_entry_count && KORVEL_BATCH_POSITION_ENTRIES == position_entry_count &&
              KORVEL_BATCH_VELOCITY_ENTRIES == velocity_entry_count);

namespace {

using Robot = metapod::models::KorvelRobot;

constexpr int most_threads = 1024;
constexpr int pose_size = 12;
constexpr int pose_numbers = pose_size * body_count;

/// Returns the number of wanted poses of a state.
int checked_body_count(const korvel_batch_kinematics_results& results) {
  if (results.bodies == nullptr) return body_count;
  if (results.body_count < 1 || results.body_count > body_count) {
    refuse(KORVEL_BATCH_COUNT, "body_count is ", results.body_count, ": there may be 1 to ", body_count, " bodies");
  }
  std::for_each(results.bodies, results.bodies + results.body_count, require_body);
  return static_cast<int>(results.body_count);
}

void add(const korvel_batch_force_sums& sums, korvel_batch_force_sums& total) noexcept {
  for (int d = 0; d < coordinate_count; ++d) {
    if (std::isnan(sums.largest[d]) || total.largest[d] < sums.largest[d]) total.largest[d] = sums.largest[d];
    total.squares[d] += sums.squares[d];
  }
}

void add(const korvel_batch_stand_sums& sums, korvel_batch_stand_sums& total) noexcept {
  add(sums.forces, total.forces);
  if (!std::isnan(total.least_margin) && !(total.least_margin < sums.least_margin)) {
    total.least_margin = sums.least_margin;
  }
  total.unbearable += sums.unbearable;
}

/// Runs a kernel for all states and adds up the sums of stretches unless `sums` is null.
template <typename Results, typename Sums>
void run_with_sums(const Call& call, Kernel<Results> KernelSet::*kernel, Results wanted, Sums* sums,
                   std::ptrdiff_t worth = Threads::shortest) {
  if (sums == nullptr) return call.run(kernel, wanted, worth);
  const auto compute = call.kernels().*kernel;
  const auto sums_of = [&](const Stretch& states) {
    Sums of_stretch;
    Results of_states = wanted;
    of_states.sums = &of_stretch;
    compute(call.masses, states, call.given, of_states);
    return of_stretch;
  };
  *sums = call.object.threads.sum(
      call.count, sums_of, [](const Sums& of_stretch, Sums& total) { add(of_stretch, total); }, worth);
}

int find_entry(const EntryPlaces& places, int entry, int* row, int* column) {
  return status_of([&] {
    if (entry < 0 || entry >= places.count) {
      refuse(KORVEL_BATCH_COUNT, "no entry ", entry, ": they are numbered from 0 to ", places.count - 1);
    }
    if (row == nullptr || column == nullptr) refuse(KORVEL_BATCH_NULL, "row or column is null");
    *row = places.kept[entry].row;
    *column = places.kept[entry].column;
  });
}

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

const char* korvel_batch_error(void) { return last_sentence; }

const char* korvel_batch_body_name(int body) {
  return body < 0 || body >= body_count ? nullptr : Robot::bodies[body].name;
}

int korvel_batch_parent(int body) { return body < 0 || body >= body_count ? -2 : Robot::bodies[body].parent; }

int korvel_batch_mass_entry(int entry, int* row, int* column) { return find_entry(mass_places, entry, row, column); }

int korvel_batch_derivative_entry(int of_velocity, int entry, int* row, int* column) {
  return find_entry(of_velocity == 0 ? position_places : velocity_places, entry, row, column);
}

int korvel_batch_kinematics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                            const korvel_batch_kinematics_results* results) {
  return status_of([&] {
    Call call(batch, n, q);
    require_pointer(results, "results");
    const int* const bodies = results->bodies;
    const int numbers = pose_size * checked_body_count(*results);
    const KinematicsResults wanted{call.output(&results->poses_root, "poses_root", numbers),
                                   call.output(&results->poses_world, "poses_world", numbers),
                                   call.output(&results->com_root, "com_root", 3),
                                   call.output(&results->com_world, "com_world", 3),
                                   call.output(&results->jacobian, "jacobian", jacobian_numbers)};
    if (bodies == nullptr && !call.results_exceed(most_bytes_in_caches)) {
      return call.run(&KernelSet::kinematics, wanted);
    }
    call.for_each_stretch([&](const Stretch& states) {
      RowsInOrder<pose_numbers, pose_size> poses_root(wanted.poses_root, bodies, results->body_count);
      RowsInOrder<pose_numbers, pose_size> poses_world(wanted.poses_world, bodies, results->body_count);
      RowsInOrder<jacobian_numbers> jacobian(wanted.jacobian);
      const KinematicsResults in_order{poses_root.room(), poses_world.room(), wanted.com_root, wanted.com_world,
                                       jacobian.room()};
      for_each_tile(states, [&](const Stretch& tile) {
        call.kernels().kinematics(call.masses, tile, call.given, in_order);
        poses_root.copy(tile);
        poses_world.copy(tile);
        jacobian.copy(tile);
      });
    });
  });
}

int korvel_batch_mass(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q, const float* armature,
                      const korvel_batch_output* packed, const korvel_batch_output* dense) {
  return status_of([&] {
    Call call(batch, n, q);
    call.masses.armature = checked_armature(armature);
    const MassResults wanted{call.output(packed, "packed", mass_entry_count),
                             call.output(dense, "dense", matrix_numbers)};
    // Dense matrices have so many numbers that their rows are written well as they are.
    if (wanted.packed.data == nullptr || !call.results_exceed(most_bytes_in_caches)) {
      return call.run(&KernelSet::mass, wanted);
    }
    call.for_each_stretch([&](const Stretch& states) {
      RowsInOrder<mass_entry_count> rows(wanted.packed);
      for_each_tile(states, [&](const Stretch& tile) {
        call.kernels().mass(call.masses, tile, call.given, {rows.room(), wanted.dense});
        rows.copy(tile);
      });
    });
  });
}

int korvel_batch_dynamics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                          const korvel_batch_input* dq, const korvel_batch_input* ddq,
                          const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count, const float* armature,
                          const korvel_batch_output* forces, korvel_batch_force_sums* sums) {
  return status_of([&] {
    Call call(batch, n, q, dq, wrenches, wrench_count);
    call.masses.armature = checked_armature(armature);
    call.given.ddq = call.coordinates(ddq, "ddq");
    run_with_sums(call, &KernelSet::dynamics, DynamicsResults{call.output(forces, "forces"), nullptr}, sums);
  });
}

int korvel_batch_stand(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                       const korvel_batch_input* dq, const korvel_batch_input* ddq, const korvel_batch_ground* ground,
                       const korvel_batch_stand_results* results, korvel_batch_stand_sums* sums) {
  return status_of([&] {
    Call call(batch, n, q, dq, nullptr, 0);
    call.given.ddq = call.coordinates(ddq, "ddq");
    const GroundTable table = checked_ground(ground, n);
    call.given.ground = &table;
    const int soles = static_cast<int>(ground->sole_count);
    const korvel_batch_stand_results none{};
    const korvel_batch_stand_results& r = results == nullptr ? none : *results;
    const StandResults wanted{call.output(&r.forces, "forces"),
                              call.output(&r.loads, "loads", 6 * soles),
                              call.output(&r.pressure, "pressure", 2 * soles),
                              call.output(&r.zmp, "zmp", 2),
                              call.output(&r.zmp_margin, "zmp_margin", 1),
                              call.output(&r.residual, "residual", 1),
                              call.output(&r.verdict, "verdict", 1),
                              nullptr};
    // A state takes about ten times as long as others do.
    constexpr std::ptrdiff_t worth = 4 * tile_size;
    run_with_sums(call, &KernelSet::stand, wanted, sums, worth);
  });
}
