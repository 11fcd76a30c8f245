// Derivatives of inverse dynamics, and forward dynamics.

#include "batch/kernels/derivative_entries.h"
#include "batch/korvel/batch_dynamics.h"
#include "batch/object.h"

using namespace korvel::batch;

static_assert(KORVEL_BATCH_JOINTS == coordinate_count - first_joint &&
              KORVEL_BATCH_POSITION_ENTRIES == position_entry_count &&
              KORVEL_BATCH_VELOCITY_ENTRIES == velocity_entry_count);

namespace {

constexpr int dense_numbers = coordinate_count * coordinate_count;

}  // namespace

int korvel_batch_derivative_entry(int of_velocity, int entry, int* row, int* column) {
  return status_of([&] {
    const DerivativePlaces& places = of_velocity == 0 ? position_places : velocity_places;
    if (entry < 0 || entry >= places.count) {
      refuse(KORVEL_BATCH_COUNT, "no entry ", entry, ": they are numbered from 0 to ", places.count - 1);
    }
    if (row == nullptr || column == nullptr) refuse(KORVEL_BATCH_NULL, "row or column is null");
    for (int r = 0; r < coordinate_count; ++r) {
      for (int c = 0; c < coordinate_count; ++c) {
        if (places.row(r)[c] != entry) continue;
        *row = r;
        *column = c;
      }
    }
  });
}

int korvel_batch_dynamics_derivatives(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                      const korvel_batch_input* dq, const korvel_batch_input* ddq,
                                      const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count,
                                      const korvel_batch_derivative_results* results) {
  return status_of([&] {
    const MovingCall call(batch, n, q, dq, wrenches, wrench_count);
    const Input accelerations = checked_input(ddq, "ddq", n, coordinate_count);
    require_pointer(results, "results");
    const DerivativeResults wanted{
        checked_output(&results->forces, "forces", n, coordinate_count),
        checked_output(&results->position_packed, "position_packed", n, position_entry_count),
        checked_output(&results->velocity_packed, "velocity_packed", n, velocity_entry_count),
        checked_output(&results->position, "position", n, dense_numbers),
        checked_output(&results->velocity, "velocity", n, dense_numbers)};
    require_a_result(wanted.forces, wanted.position_packed, wanted.velocity_packed, wanted.position, wanted.velocity);
    const auto compute = call.kernels().derivatives;
    call.object.threads.for_each_stretch(n, [&](const Stretch& states) {
      compute(*call.masses, states, call.positions, call.velocities, accelerations, call.external(), wanted);
    });
  });
}

int korvel_batch_dynamics_gradient(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                   const korvel_batch_input* dq, const korvel_batch_input* ddq,
                                   const korvel_batch_input* weights, const korvel_batch_wrench* wrenches,
                                   ptrdiff_t wrench_count, const korvel_batch_gradient_results* results) {
  return status_of([&] {
    const MovingCall call(batch, n, q, dq, wrenches, wrench_count);
    const Input accelerations = checked_input(ddq, "ddq", n, coordinate_count);
    const Input factors = checked_input(weights, "weights", n, coordinate_count);
    require_pointer(results, "results");
    const GradientResults wanted{checked_output(&results->forces, "forces", n, coordinate_count),
                                 checked_output(&results->by_q, "by_q", n, coordinate_count),
                                 checked_output(&results->by_dq, "by_dq", n, coordinate_count),
                                 checked_output(&results->by_ddq, "by_ddq", n, coordinate_count)};
    require_a_result(wanted.forces, wanted.by_position, wanted.by_velocity, wanted.by_acceleration);
    const auto compute = call.kernels().gradient;
    call.object.threads.for_each_stretch(n, [&](const Stretch& states) {
      compute(*call.masses, states, call.positions, call.velocities, accelerations, factors, call.external(), wanted);
    });
  });
}

int korvel_batch_forward_dynamics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                  const korvel_batch_input* dq, const korvel_batch_input* forces,
                                  const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count, const float* armature,
                                  const korvel_batch_forward_results* results) {
  return status_of([&] {
    const MovingCall call(batch, n, q, dq, wrenches, wrench_count);
    const Input given = checked_input(forces, "forces", n, coordinate_count);
    const Masses masses = with_armature(*call.masses, armature);
    require_pointer(results, "results");
    const Output accelerations = checked_output(&results->ddq, "ddq", n, coordinate_count);
    const Output residual = checked_output(&results->residual, "residual", n, coordinate_count);
    require_a_result(accelerations, residual);
    const auto compute = call.kernels().forward_dynamics;
    call.object.threads.for_each_stretch(n, [&](const Stretch& states) {
      compute(masses, states, call.positions, call.velocities, given, call.external(), accelerations, residual);
    });
  });
}
