#pragma once

#include <vector>

#include "contact/lanes.h"

namespace korvel::contact {

/// When a sole counts as standing on the ground.
struct ContactBounds {
  double height = 0.005;   ///< of its lowest corner above the ground, at most [m]; it may be deeper
  double speed = 0.05;     ///< of that corner, below [m/s]
  double duration = 0.05;  ///< of a contact, at least [s]; shorter interruptions are none

  /// A lowest corner that is so high and so fast.
  template <typename Number>
  MaskOf<Number> allow(const Number& corner_height, const Number& corner_speed) const noexcept {
    return corner_height <= Number(height) && corner_speed < Number(speed);
  }
};

/// The contact of a sole over the samples of a motion, from one that was measured in each sample for itself:
/// interruptions that are shorter than `duration` [s] are closed, then contacts that are shorter are dropped, except
/// for those at an end of the motion, of which nobody knows how long they are. A sample counts from half the step
/// before to half the step after it. `time` [s] increases.
std::vector<bool> steadied(const std::vector<double>& time, std::vector<bool> contact, double duration);

/// Its share in the load: from 0 at touchdown smoothly up to 1 within 0.1 s, and down to 0 at lift-off; the ends of the
/// motion are neither. It is positive in all samples in contact, and 0 in the others.
std::vector<double> contact_shares(const std::vector<double>& time, const std::vector<bool>& contact);

}  // namespace korvel::contact
