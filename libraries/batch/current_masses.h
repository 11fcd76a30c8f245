#pragma once

#include "batch/kernels/kernels.h"

namespace korvel::batch {

/// The mass properties that an object computes with; at first the robot's own. Threads may change them while others
/// compute, because each call takes a copy of them.
class CurrentMasses {
 public:
  CurrentMasses();

  Masses get() const;

  // These do what korvel_batch_set_inertia, korvel_batch_get_inertias and korvel_batch_set_inertias do, and throw
  // Refusal.
  void set_one(int body, float mass, const float* com, const float* inertia);
  void copy_to(float* numbers) const;
  void set_all(const float* numbers);

 private:
  Masses masses_{};
};

}  // namespace korvel::batch
