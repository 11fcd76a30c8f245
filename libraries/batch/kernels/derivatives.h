#pragma once

#include "batch/kernels/kernels.h"

namespace korvel::batch {

/// Derivatives of the generalized forces, and gradients of weighted sums of them. Each is compiled from a file of its
/// own.
template <int lanes>
void derivatives(const Masses& masses, const Stretch& states, const MotionInput& given,
                 const DerivativeResults& wanted) noexcept;
template <int lanes>
void gradient(const Masses& masses, const Stretch& states, const MotionInput& given,
              const GradientResults& wanted) noexcept;

}  // namespace korvel::batch
