#pragma once

#include "batch/kernels/dynamics.h"
#include "batch/kernels/mass.h"

namespace korvel::batch {

/// The packed mass matrix M and its factors, M = L^T D L, which leave what is zero in M zero. Column k has the entries
/// of all coordinates above k, in their order, then the diagonal one. The column of one of them begins with the same
/// rows, as far as it goes. Source: R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 6.5.
template <int n>
struct FactorisedMass : PackedMass<n> {
  /// Replaces the matrix by its factors: L above the diagonal and 1 / D on it.
  [[gnu::noinline]] void factorise() noexcept {
    for (int k = coordinate_count - 1; k >= 0; --k) {
      const auto [column, kept, count] = column_of(k);
      const PackOf<n> inverse = PackOf<n>(1) / column[count];
      for (int above = count - 1; above >= 0; --above) {
        PackOf<n>* other = column_of(kept[above].row).entries;
        const PackOf<n> factor = column[above] * inverse;
        for (int row = 0; row <= above; ++row) other[row] = other[row] - factor * column[row];
        column[above] = factor;
      }
      column[count] = inverse;
    }
  }

  /// Replaces generalized forces by the accelerations that they cause.
  [[gnu::noinline]] void solve(PackOf<n>* x) noexcept {
    for (int k = coordinate_count - 1; k >= 0; --k) {
      const auto [column, kept, count] = column_of(k);
      for (int i = 0; i < count; ++i) x[kept[i].row] = x[kept[i].row] - column[i] * x[k];
    }
    for (int k = 0; k < coordinate_count; ++k) {
      const auto [column, kept, count] = column_of(k);
      PackOf<n> value = column[count] * x[k];
      for (int i = 0; i < count; ++i) value = value - column[i] * x[kept[i].row];
      x[k] = value;
    }
  }

 private:
  struct Column {
    PackOf<n>* entries;
    const Entry* kept;
    int count;  ///< above the diagonal
  };

  Column column_of(int k) noexcept {
    const std::uint16_t* const of_column = mass_places.row(k);
    const int first = of_column[0];
    return {this->values + first, mass_places.kept + first, of_column[k] - first};
  }
};

/// The residual is that of the equation of motion: forces less those that inverse dynamics gives for the accelerations.
template <int n>
void forward_dynamics(const Masses& masses, const Stretch& states, const MotionInput& given,
                      const ForwardResults& wanted) noexcept {
  PackOf<n> forces[coordinate_count];
  PackOf<n> found[coordinate_count];
  FactorisedMass<n> mass;
  for_each_motion<n>(states, given, [&](const auto& block, auto& motion) {
    read_numbers<n, coordinate_count>(given.of_forces, block, forces);
    compute_dynamics<n>(masses, motion, found);
    for (int k = 0; k < coordinate_count; ++k) motion.ddq[k] = forces[k] - found[k];
    compute_mass<n>(masses, motion.q, motion.angles, mass);
    mass.factorise();
    mass.solve(motion.ddq);
    write_numbers<n>(wanted.accelerations, block, 0, coordinate_count, motion.ddq);
    if (wanted.residual.data == nullptr) return;
    compute_dynamics<n>(masses, motion, found);
    for (int k = 0; k < coordinate_count; ++k) found[k] = forces[k] - found[k];
    write_numbers<n>(wanted.residual, block, 0, coordinate_count, found);
  });
}

}  // namespace korvel::batch
