#pragma once

/// Wraps korvel/batch.h for C++: objects are destroyed automatically, errors are exceptions, and layouts have names.

#include <cstddef>
#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

#include "batch.h"
#include "batch_dynamics.h"

namespace korvel {

/// Carries the sentence of a failed call. A call that runs out of memory throws std::bad_alloc instead.
class BatchError : public std::invalid_argument {
 public:
  BatchError(int status, const char* sentence) : std::invalid_argument(sentence), status_(status) {}
  int status() const noexcept { return status_; }

 private:
  int status_;
};

/// Describe an array [n][count] without gaps.
inline korvel_batch_input rows_of(const float* data, int count) noexcept {
  return {data, count * static_cast<std::ptrdiff_t>(sizeof(float)), sizeof(float), 0};
}
inline korvel_batch_output rows_to(float* data, int count) noexcept {
  return {data, count * static_cast<std::ptrdiff_t>(sizeof(float)), sizeof(float), 0};
}
/// Describe an array [n / 16][count][16] without gaps.
inline korvel_batch_input tiles_of(const float* data, int count) noexcept {
  constexpr std::ptrdiff_t tile = KORVEL_BATCH_TILE * sizeof(float);
  return {data, sizeof(float), tile, count * tile};
}
inline korvel_batch_output tiles_to(float* data, int count) noexcept {
  constexpr std::ptrdiff_t tile = KORVEL_BATCH_TILE * sizeof(float);
  return {data, sizeof(float), tile, count * tile};
}

/// An object of the library. The functions of korvel/batch.h describe each operation.
class Batch {
 public:
  using Input = korvel_batch_input;
  using Output = korvel_batch_output;
  using Wrenches = std::vector<korvel_batch_wrench>;

  explicit Batch(int threads = 0, const char* instruction_set = nullptr) {
    korvel_batch* made = nullptr;
    check(korvel_batch_create(&made, threads, instruction_set));
    batch_.reset(made);
  }

  const char* instruction_set() const noexcept { return korvel_batch_instruction_set(batch_.get()); }
  int threads() const noexcept { return korvel_batch_threads(batch_.get()); }

  void set_inertia(int body, float mass, const float (&com)[3], const float (&inertia)[6]) {
    check(korvel_batch_set_inertia(batch_.get(), body, mass, com, inertia));
  }

  void kinematics(std::ptrdiff_t n, const Input& q, const korvel_batch_kinematics_results& results) const {
    call(korvel_batch_kinematics, n, &q, &results);
  }
  void mass_packed(std::ptrdiff_t n, const Input& q, const Output& packed, const float* armature = nullptr) const {
    call(korvel_batch_mass, n, &q, armature, &packed, nullptr);
  }
  void mass_dense(std::ptrdiff_t n, const Input& q, const Output& dense, const float* armature = nullptr) const {
    call(korvel_batch_mass, n, &q, armature, nullptr, &dense);
  }
  void dynamics(std::ptrdiff_t n, const Input& q, const Input& dq, const Input& ddq, const Output& forces,
                const Wrenches& wrenches = {}, const float* armature = nullptr) const {
    call(korvel_batch_dynamics, n, &q, &dq, &ddq, wrenches.data(), size(wrenches), armature, &forces, nullptr);
  }
  korvel_batch_force_sums force_sums(std::ptrdiff_t n, const Input& q, const Input& dq, const Input& ddq,
                                     const Wrenches& wrenches = {}, const float* armature = nullptr) const {
    korvel_batch_force_sums sums;
    call(korvel_batch_dynamics, n, &q, &dq, &ddq, wrenches.data(), size(wrenches), armature, nullptr, &sums);
    return sums;
  }
  void stand(std::ptrdiff_t n, const Input& q, const Input& dq, const Input& ddq, const korvel_batch_ground& ground,
             const korvel_batch_stand_results& results) const {
    call(korvel_batch_stand, n, &q, &dq, &ddq, &ground, &results, nullptr);
  }
  korvel_batch_stand_sums stand_sums(std::ptrdiff_t n, const Input& q, const Input& dq, const Input& ddq,
                                     const korvel_batch_ground& ground) const {
    korvel_batch_stand_sums sums;
    call(korvel_batch_stand, n, &q, &dq, &ddq, &ground, nullptr, &sums);
    return sums;
  }

  void dynamics_derivatives(std::ptrdiff_t n, const Input& q, const Input& dq, const Input& ddq,
                            const korvel_batch_derivative_results& results, const Wrenches& wrenches = {}) const {
    call(korvel_batch_dynamics_derivatives, n, &q, &dq, &ddq, wrenches.data(), size(wrenches), &results);
  }
  void dynamics_gradient(std::ptrdiff_t n, const Input& q, const Input& dq, const Input& ddq, const Input& weights,
                         const korvel_batch_gradient_results& results, const Wrenches& wrenches = {}) const {
    call(korvel_batch_dynamics_gradient, n, &q, &dq, &ddq, &weights, wrenches.data(), size(wrenches), &results);
  }
  void forward_dynamics(std::ptrdiff_t n, const Input& q, const Input& dq, const Input& forces,
                        const korvel_batch_forward_results& results, const float* armature = nullptr,
                        const Wrenches& wrenches = {}) const {
    call(korvel_batch_forward_dynamics, n, &q, &dq, &forces, wrenches.data(), size(wrenches), armature, &results);
  }
  void momentum(std::ptrdiff_t n, const Input& q, const Input& dq, const korvel_batch_momentum_results& results,
                const Input* ddq = nullptr) const {
    call(korvel_batch_momentum, n, &q, &dq, ddq, &results);
  }
  void body_jacobians(std::ptrdiff_t n, const Input& q, const std::vector<korvel_batch_point>& points,
                      const Input* dq = nullptr) const {
    call(korvel_batch_body_jacobians, n, &q, dq, points.data(), size(points));
  }

 private:
  struct Destroy {
    void operator()(korvel_batch* batch) const noexcept { korvel_batch_destroy(batch); }
  };

  template <typename Value>
  static std::ptrdiff_t size(const std::vector<Value>& values) noexcept {
    return static_cast<std::ptrdiff_t>(values.size());
  }
  static void check(int status) {
    if (status == KORVEL_BATCH_MEMORY) throw std::bad_alloc();
    if (status != KORVEL_BATCH_OK) throw BatchError(status, korvel_batch_error());
  }
  template <typename... Parameters, typename... Arguments>
  void call(int (*operation)(const korvel_batch*, Parameters...), Arguments... arguments) const {
    check(operation(batch_.get(), arguments...));
  }

  std::unique_ptr<korvel_batch, Destroy> batch_;
};

}  // namespace korvel
