#pragma once

#include <vector>

#include "contact/lanes.h"

namespace korvel::contact {

/// The bounds within which a sole is in contact.
struct ContactBounds {
  double height = 0.005;   ///< of its lowest corner above the ground, at most [m]; it may be deeper
  double speed = 0.05;     ///< of that corner, below [m/s]
  double duration = 0.05;  ///< of a contact, at least [s]; shorter interruptions are none

  /// Returns whether a lowest corner at this height and speed is in contact.
  template <typename Number>
  MaskOf<Number> allow(const Number& corner_height, const Number& corner_speed) const noexcept {
    return corner_height <= Number(height) && corner_speed < Number(speed);
  }
};

/// Returns the contact of a sole over the samples of a motion, from samples that were judged one by one. Interruptions
/// shorter than `duration` [s] are closed, then shorter contacts are dropped, except those at an end of the motion,
/// whose length is unknown. A sample counts from half the step before to half the step after it. `time` [s] increases.
std::vector<bool> steadied(const std::vector<double>& time, std::vector<bool> contact, double duration);

/// Returns the share of a sole in the load. It rises smoothly from 0 at touchdown to 1 within 0.1 s and falls to 0 at
/// lift-off; the ends of the motion are neither. It is positive in all samples in contact, and 0 in the others.
std::vector<double> contact_shares(const std::vector<double>& time, const std::vector<bool>& contact);

}  // namespace korvel::contact
