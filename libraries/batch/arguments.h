#pragma once

/// Checks the arguments of callers and converts them to the form that kernels take. Everything here throws Refusal.

#include <vector>

#include "batch/kernels/standing.h"
#include "batch/korvel/batch.h"

namespace korvel::batch {

void require_count(std::ptrdiff_t n);
void require_body(int body);

/// Checks an input of n states with `count` numbers each; `name` is the argument's.
Input checked_input(const korvel_batch_input* input, const char* name, std::ptrdiff_t n, int count);

/// Checks an output of n states in the same way. It is null, or without data, if it is not wanted.
Output checked_output(const korvel_batch_output* output, const char* name, std::ptrdiff_t n, int count);

/// The rotor inertias of all joints, which must not be negative; null for none.
const float* checked_armature(const float* armature);

std::vector<Wrench> checked_wrenches(const korvel_batch_wrench* wrenches, std::ptrdiff_t count, std::ptrdiff_t n);

/// Copies the soles. The function is compiled with Eigen's own settings. Types of Eigen have other layouts in the
/// kernels, so none of them is declared here.
GroundTable checked_ground(const korvel_batch_ground* ground, std::ptrdiff_t n);

}  // namespace korvel::batch
