#pragma once

#include "batch/kernels/kernels.h"

namespace korvel::batch {

/// Derivatives of the generalized forces, and gradients of weighted sums of them. Each is compiled from a file of its
/// own.
template <int lanes>
void derivatives(const Masses& masses, const Stretch& states, const Input& q, const Input& dq, const Input& ddq,
                 const Wrenches& wrenches, const DerivativeResults& wanted) noexcept;
template <int lanes>
void gradient(const Masses& masses, const Stretch& states, const Input& q, const Input& dq, const Input& ddq,
              const Input& weights, const Wrenches& wrenches, const GradientResults& wanted) noexcept;

}  // namespace korvel::batch
