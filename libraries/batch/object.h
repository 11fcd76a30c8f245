#pragma once

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

/// A call of an operation: its checked arguments, and the masses that the object had when it started.
struct Call {
  Call(const korvel_batch* batch, std::ptrdiff_t n, const korvel_batch_input* q)
      : object(checked(batch)), masses(object.masses.get()), count((require_count(n), n)) {
    given.q = coordinates(q, "q");
  }
  Call(const korvel_batch* batch, std::ptrdiff_t n, const korvel_batch_input* q, const korvel_batch_input* dq,
       const korvel_batch_wrench* wrenches, std::ptrdiff_t wrench_count)
      : Call(batch, n, q) {
    given.dq = coordinates(dq, "dq");
    loads = checked_wrenches(wrenches, wrench_count, n);
    given.wrenches = loads.data();
    given.wrench_count = static_cast<int>(loads.size());
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  ~Call() = default;

  Input coordinates(const korvel_batch_input* input, const char* name) const {
    return checked_input(input, name, count, coordinate_count);
  }
  /// Null, or without data, if it is not wanted.
  Output output(const korvel_batch_output* output, const char* name, int numbers = coordinate_count) {
    const Output result = checked_output(output, name, count, numbers);
    if (result.data != nullptr) result_numbers += numbers;
    return result;
  }

  const KernelSet& kernels() const noexcept { return object.set.kernels(count); }

  bool results_exceed(std::ptrdiff_t bytes) const noexcept {
    return result_numbers * static_cast<std::ptrdiff_t>(sizeof(float)) > bytes / count;
  }
  template <typename Work>
  void for_each_stretch(const Work& work, std::ptrdiff_t worth = Threads::shortest) const {
    if (result_numbers == 0) refuse(KORVEL_BATCH_NULL, "no result is wanted: none has data");
    object.threads.for_each_stretch(count, work, worth);
  }
  template <typename Results>
  void run(Kernel<Results> KernelSet::*kernel, const Results& wanted, std::ptrdiff_t worth = Threads::shortest) const {
    const auto compute = kernels().*kernel;
    for_each_stretch([&](const Stretch& states) { compute(masses, states, given, wanted); }, worth);
  }

  const korvel_batch& object;
  Masses masses;
  std::ptrdiff_t count;
  std::vector<Wrench> loads;
  MotionInput given{};
  std::ptrdiff_t result_numbers = 0;  ///< of all results of a state
};

}  // namespace korvel::batch
