#pragma once

namespace korvel::contact {

/// Whether the ground supports a motion, and if not, the reason.
enum class Verdict {
  stands,
  nothing_bears,  ///< no sole stands on the ground, and one would have to
  needs_pull,     ///< the ground would have to pull
  tips,           ///< the zero moment point is outside the support polygon
  slips,          ///< more friction is needed than there is
  in_flight,      ///< no sole stands on the ground, and nothing has to bear
};

inline constexpr double gravity = 9.81;  ///< [m/s^2]

/// The ground supports a load if at most this share of the weight is unsupported; moments are divided by moment_length.
inline constexpr double feasible_residual = 1e-3;

/// Less of the weight than that is no load: a quotient by it would mean nothing.
inline constexpr double least_load = 1e-3;

/// Below this compliance, loads that can be supported are no longer found with certainty.
inline constexpr double least_compliance = 1e-3;

/// Makes moments comparable with forces: those about a metre count ten times as much as those about a decimetre [m].
inline constexpr double moment_length = 0.1;

}  // namespace korvel::contact
