#pragma once

#include "bench/peers/peer.h"

namespace korvel::bench {

/// Called for each quantity of each state with the peer's deviation from the reference, relative to the natural scale
/// of the quantity, and infinite if it is not even of the same size:
///   masses                    the body's mass
///   poses, centre of mass     one metre, and one for rotations
///   jacobian                  one
///   mass matrix               the root of the product of the largest values of the two diagonal entries
///   torques                   the largest torque of the state
using Compared = std::function<void(const char* quantity, std::size_t state, double deviation)>;
void compare(Peer& peer, Peer& reference, std::size_t state_count, const Compared& compared);

/// Throws std::runtime_error unless both agree in every state to a ten-thousandth.
void require_agreement(const std::string& name, Peer& peer, Peer& reference, std::size_t state_count);

}  // namespace korvel::bench
