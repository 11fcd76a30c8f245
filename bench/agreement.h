#pragma once

#include "bench/peer.h"

namespace korvel::bench {

/// Throws std::runtime_error unless both give the same poses, mass matrix and torques in every state, to a
/// ten-thousandth of their natural scale: one metre, the root of the product of the largest values of the two diagonal
/// entries, the largest torque of the state.
void requireAgreement(const std::string& name, Peer& peer, Peer& reference, std::size_t state_count);

}  // namespace korvel::bench
