#pragma once

#include <memory>

#include "batch/kernels/kernels.h"

namespace korvel::batch {

/// The mass properties that an object computes with; at first the robot's own. Threads may change them while others
/// compute, because each call takes them once, and a change replaces all of them.
class CurrentMasses {
 public:
  CurrentMasses();

  std::shared_ptr<const Masses> get() const;

  // As korvel_batch_set_inertia, korvel_batch_get_inertias and korvel_batch_set_inertias; these throw Refusal.
  void set_one(int body, float mass, const float* com, const float* inertia);
  void copy_to(float* numbers) const;
  void set_all(const float* numbers);

 private:
  template <typename Change>
  void replace(Change change);

  std::shared_ptr<const Masses> masses_;
};

}  // namespace korvel::batch
