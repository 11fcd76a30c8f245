// Derivatives of inverse dynamics, forward dynamics, momentum and jacobians of points.

#include <cmath>

#include "batch/kernels/entries.h"
#include "batch/korvel/batch_dynamics.h"
#include "batch/object.h"

using namespace korvel::batch;

namespace {

std::vector<Point> checked_points(Call& call, const korvel_batch_point* points, std::ptrdiff_t count) {
  if (count < 1) refuse(KORVEL_BATCH_COUNT, "point_count is ", count, ": there must be at least one point");
  require_pointer(points, "points");
  std::vector<Point> checked;
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    const auto& [body, place, jacobian, bias] = points[i];
    require_body(body);
    for (const float x : place) {
      if (!std::isfinite(x)) refuse(KORVEL_BATCH_VALUE, "the place of a point is not finite");
    }
    checked.push_back(
        {body, place, call.output(&jacobian, "jacobian", jacobian_numbers), call.output(&bias, "bias", 6)});
    if (checked.back().jacobian.data == nullptr && checked.back().bias.data == nullptr) {
      refuse(KORVEL_BATCH_NULL, "a point has no result with data");
    }
  }
  return checked;
}

}  // namespace

int korvel_batch_dynamics_derivatives(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                      const korvel_batch_input* dq, const korvel_batch_input* ddq,
                                      const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count,
                                      const korvel_batch_derivative_results* results) {
  return status_of([&] {
    Call call(batch, n, q, dq, wrenches, wrench_count);
    call.given.ddq = call.coordinates(ddq, "ddq");
    require_pointer(results, "results");
    call.run(&KernelSet::derivatives,
             DerivativeResults{call.output(&results->forces, "forces"),
                               call.output(&results->position_packed, "position_packed", position_entry_count),
                               call.output(&results->velocity_packed, "velocity_packed", velocity_entry_count),
                               call.output(&results->position, "position", matrix_numbers),
                               call.output(&results->velocity, "velocity", matrix_numbers)});
  });
}

int korvel_batch_dynamics_gradient(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                   const korvel_batch_input* dq, const korvel_batch_input* ddq,
                                   const korvel_batch_input* weights, const korvel_batch_wrench* wrenches,
                                   ptrdiff_t wrench_count, const korvel_batch_gradient_results* results) {
  return status_of([&] {
    Call call(batch, n, q, dq, wrenches, wrench_count);
    call.given.ddq = call.coordinates(ddq, "ddq");
    call.given.of_forces = call.coordinates(weights, "weights");
    require_pointer(results, "results");
    call.run(&KernelSet::gradient,
             GradientResults{call.output(&results->forces, "forces"), call.output(&results->by_q, "by_q"),
                             call.output(&results->by_dq, "by_dq"), call.output(&results->by_ddq, "by_ddq")});
  });
}

int korvel_batch_forward_dynamics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                  const korvel_batch_input* dq, const korvel_batch_input* forces,
                                  const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count, const float* armature,
                                  const korvel_batch_forward_results* results) {
  return status_of([&] {
    Call call(batch, n, q, dq, wrenches, wrench_count);
    call.given.of_forces = call.coordinates(forces, "forces");
    call.masses.armature = checked_armature(armature);
    require_pointer(results, "results");
    call.run(&KernelSet::forward_dynamics,
             ForwardResults{call.output(&results->ddq, "ddq"), call.output(&results->residual, "residual")});
  });
}

int korvel_batch_momentum(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                          const korvel_batch_input* dq, const korvel_batch_input* ddq,
                          const korvel_batch_momentum_results* results) {
  return status_of([&] {
    Call call(batch, n, q, dq, nullptr, 0);
    require_pointer(results, "results");
    const MomentumResults wanted{call.output(&results->matrix, "matrix", jacobian_numbers),
                                 call.output(&results->momentum, "momentum", 6), call.output(&results->rate, "rate", 6),
                                 call.output(&results->bias, "bias", 6)};
    if (wanted.rate.data != nullptr) call.given.ddq = call.coordinates(ddq, "ddq");
    call.run(&KernelSet::momentum, wanted);
  });
}

int korvel_batch_body_jacobians(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                const korvel_batch_input* dq, const korvel_batch_point* points, ptrdiff_t point_count) {
  return status_of([&] {
    Call call(batch, n, q);
    const std::vector<Point> wanted = checked_points(call, points, point_count);
    const bool wants_bias =
        std::any_of(wanted.begin(), wanted.end(), [](const Point& p) { return p.bias.data != nullptr; });
    if (wants_bias) call.given.dq = call.coordinates(dq, "dq");
    call.run(&KernelSet::points, PointResults{wanted.data(), static_cast<int>(wanted.size())});
  });
}
