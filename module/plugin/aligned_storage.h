#pragma once

#include <Eigen/Core>
#include <cstdlib>
#include <new>

/// Storage of the module's dynamic matrices: at multiples of 64 bytes, and freed by `free`.
///
/// A host compiled for AVX reads a matrix by loads that must be aligned to 32 or 64 bytes; a host compiled for the
/// baseline frees by `free` a jacobian that the module has resized. No setting of Eigen gives both, so its allocation
/// of floats is replaced. Include it before any matrix is used.
namespace Eigen::internal {

/// Throws std::bad_alloc.
template <>
inline float* conditional_aligned_new_auto<float, true>(std::size_t size) {
  static_assert(EIGEN_DEFAULT_ALIGN_BYTES == 0, "Eigen itself must use malloc and free: EIGEN_DONT_VECTORIZE");
  void* storage = nullptr;
  if (posix_memalign(&storage, 64, size * sizeof(float)) != 0) throw std::bad_alloc();
  return static_cast<float*>(storage);
}

}  // namespace Eigen::internal
