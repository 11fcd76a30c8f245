#pragma once

#include <cstdint>

#include "plugin/rigid_body_system.h"

namespace korvel {

/// One hash over what a fresh object computes for 10,000 states, with the inertias of the robot, and for a hundred of
/// them with others, which it leaves behind: equal hashes mean equal bits, zeros of either sign being the same.
std::uint64_t bit_hash(tesk::RigidBodySystem& robot);

/// The results of one robot are recorded. It is known by the names of its first and its last body: its numbers may be
/// what the bits find wrong.
bool has_recorded_bits(const tesk::RigidBodySystem& robot);

/// The hash that all builds of this version have: contract/bits.expected.
extern const std::uint64_t recorded_bit_hash;

}  // namespace korvel
