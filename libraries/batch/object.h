#pragma once

#include <memory>
#include <vector>

#include "batch/arguments.h"
#include "batch/current_masses.h"
#include "batch/instruction_sets.h"
#include "batch/refusal.h"
#include "batch/threads.h"

/// An object of the library, for the functions of its headers.
struct korvel_batch {
  korvel::batch::ChosenSet set;
  korvel::batch::Threads threads;
  korvel::batch::CurrentMasses masses;
};

namespace korvel::batch {

template <typename Batch>
Batch& checked(Batch* batch) {
  require_pointer(batch, "batch");
  return *batch;
}

inline bool has_data(const Output& output) noexcept { return output.data != nullptr; }

template <typename... Outputs>
void require_a_result(const Outputs&... outputs) {
  if (!(has_data(outputs) || ...)) refuse(KORVEL_BATCH_NULL, "no result is wanted: none has data");
}

/// The arguments that all computations have.
struct Call {
  Call(const korvel_batch* batch, std::ptrdiff_t n, const korvel_batch_input* q)
      : object(checked(batch)),
        masses(object.masses.get()),
        count((require_count(n), n)),
        positions(checked_input(q, "q", n, coordinate_count)) {}

  const KernelSet& kernels() const noexcept { return object.set.kernels(count); }

  const korvel_batch& object;
  std::shared_ptr<const Masses> masses;
  std::ptrdiff_t count;
  Input positions;
};

/// Holds the arguments of computations with velocities and wrenches, too.
struct MovingCall : Call {
  MovingCall(const korvel_batch* batch, std::ptrdiff_t n, const korvel_batch_input* q, const korvel_batch_input* dq,
             const korvel_batch_wrench* wrenches, std::ptrdiff_t wrench_count)
      : Call(batch, n, q),
        velocities(checked_input(dq, "dq", n, coordinate_count)),
        loads(checked_wrenches(wrenches, wrench_count, n)) {}

  Wrenches external() const noexcept { return {loads.data(), static_cast<int>(loads.size())}; }

  Input velocities;
  std::vector<Wrench> loads;
};

}  // namespace korvel::batch
