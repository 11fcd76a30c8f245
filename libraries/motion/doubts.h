#pragma once

#include <optional>
#include <string>
#include <vector>

#include "motion/motion.h"

namespace korvel::host {

/// Sentences on numbers of a motion that suggest a mistake: degrees, milliseconds, jumps, speeds that no motor of such
/// a robot reaches, joints without a column. `limbs` has a number for each joint, equal for joints of the same limb.
std::vector<std::string> doubts_about(const Motion& motion, const std::vector<std::string>& joint_names,
                                      const std::vector<int>& limbs);

/// Noise of a motion's samples, from rounding or from measuring, and its effect on accelerations: an interpolating
/// cubic spline on steps h turns uniform and independent errors of root mean square u into 6 u / h^2.
struct Noise {
  std::string source;    ///< in words: "rounding to 3 decimals"
  double rms;            ///< of the accelerations [rad/s^2], [m/s^2]
  double cutoff;         ///< of a penalised spline that leaves little of it [Hz]
  double rms_at_cutoff;  ///< of the accelerations with that cutoff
};

/// Estimates the noise of joints, position and orientation from the number of written digits, and from sixth
/// differences of the samples, in which smooth motion vanishes. Returns nothing where the noise does not matter.
std::optional<Noise> noise_of(const Motion& motion, const std::vector<std::string>& joint_names);

}  // namespace korvel::host
