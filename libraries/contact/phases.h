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

/// The contact of one sole over the samples of a motion.
class ContactPhases {
 public:
  /// What was measured sample by sample: each for itself. Interruptions that are shorter than `duration` [s] are
  /// closed, then contacts that are shorter are dropped, but for those at an end of the motion, of which nobody knows
  /// how long they are. A sample counts from half the step before to half the step after it. `time` [s] increases.
  static ContactPhases detected(const std::vector<double>& time, std::vector<bool> near_ground, double duration);
  /// What somebody knows.
  static ContactPhases given(const std::vector<double>& time, std::vector<bool> contact);

  bool contact(std::size_t sample) const { return contact_[sample]; }
  /// From 0 at touchdown smoothly up to 1 within `ramp` seconds, and down to 0 at lift-off; the ends of the motion are
  /// neither. 0 without contact.
  double share(std::size_t sample) const { return share_[sample]; }

  static constexpr double ramp = 0.1;  // [s]

 private:
  ContactPhases(const std::vector<double>& time, std::vector<bool> contact);

  std::vector<bool> contact_;
  std::vector<double> share_;
};

}  // namespace korvel::contact
